// What listeners for device changes hear of a device's coming and going.
#include "device_node.h"

#include <dbt.h>

#include <gtest/gtest.h>

#include <utility>

namespace zorvan::test {
namespace {

constexpr DWORD kNotificationTimeout = 10'000; // milliseconds

struct WindowTraits {
    using Value = HWND;
    static Value invalid() { return nullptr; }
    static void close(Value window) { DestroyWindow(window); }
};

struct NotificationTraits {
    using Value = HDEVNOTIFY;
    static Value invalid() { return nullptr; }
    static void close(Value notification) { UnregisterDeviceNotification(notification); }
};

// Listens on this thread, for the control interfaces of all devices.
class Listener {
public:
    Listener() {
        window_.reset(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr));
        SetWindowLongPtrW(window_.get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        SetWindowLongPtrW(window_.get(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&windowProcedure));
        DEV_BROADCAST_DEVICEINTERFACE_W filter{};
        filter.dbcc_size = sizeof filter;
        filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
        filter.dbcc_classguid = kControlInterface;
        notification_.reset(RegisterDeviceNotificationW(window_.get(), &filter, DEVICE_NOTIFY_WINDOW_HANDLE));
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    explicit operator bool() const { return window_ && notification_; }

    // How often the event came since the last look; waits for the first.
    int heard(WPARAM event) {
        const auto deadline = GetTickCount64() + kNotificationTimeout;
        int& count = event == DBT_DEVICEARRIVAL ? arrivals_ : removals_;
        while (count == 0 && GetTickCount64() < deadline) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&message);
        }
        return std::exchange(count, 0);
    }

private:
    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM event, LPARAM data) {
        if (message != WM_DEVICECHANGE)
            return DefWindowProcW(window, message, event, data);
        auto& self = *reinterpret_cast<Listener*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        self.arrivals_ += event == DBT_DEVICEARRIVAL;
        self.removals_ += event == DBT_DEVICEREMOVECOMPLETE;
        return TRUE;
    }

    Unique<WindowTraits> window_;
    Unique<NotificationTraits> notification_;
    int arrivals_ = 0;
    int removals_ = 0;
};

// Twice, since the second device takes the instance ID of the first.
TEST(Notifications, ADevicesComingAndGoingIsHeard) {
    Listener listener;
    ASSERT_TRUE(listener);
    for (int round = 0; round < 2; ++round) {
        DeviceNode device{0u};
        EXPECT_EQ(listener.heard(DBT_DEVICEARRIVAL), 1);
        device.remove();
        EXPECT_EQ(listener.heard(DBT_DEVICEREMOVECOMPLETE), 1);
    }
}

} // namespace
} // namespace zorvan::test
