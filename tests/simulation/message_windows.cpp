#include "simulation/message_windows.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <dbt.h>

namespace zorvan::simulation {

void MessageWindows::announce(WPARAM event, std::optional<DWORD> dataType) const {
    DEV_BROADCAST_DEVICEINTERFACE_W data{};
    data.dbcc_size = sizeof data;
    data.dbcc_devicetype = dataType.value_or(0);
    data.dbcc_classguid = kControlInterface;
    std::vector<HWND> receivers;
    {
        const Guard lock(simulationMutex());
        for (const auto& registered : notifications)
            if (const auto notification = registered.lock())
                if (notification->interfaceClass == kControlInterface)
                    receivers.push_back(notification->window);
    }
    for (HWND receiver : receivers)
        ::SendMessageW(receiver, WM_DEVICECHANGE, event, dataType ? reinterpret_cast<LPARAM>(&data) : 0);
}

namespace {

GIVES(ATOM, RegisterClassExW, "window class");
TAKES(BOOL, UnregisterClassW, "window class");
GIVES(HWND, CreateWindowExW, "window");
TAKES(BOOL, DestroyWindow, "window");

SIMULATE(HDEVNOTIFY, RegisterDeviceNotificationW, HANDLE recipient, LPVOID filter, DWORD flags) {
    const auto& wanted = *static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(filter);
    failIf(
        wanted.dbcc_size != sizeof wanted || wanted.dbcc_devicetype != DBT_DEVTYP_DEVICEINTERFACE,
        ERROR_INVALID_DATA);
    const auto notification = std::make_shared<DeviceNotification>(recipient, wanted.dbcc_classguid);
    call->windows.notifications.emplace_back(notification);
    return call.open(notification);
}

SIMULATE_SURE(BOOL, UnregisterDeviceNotification, HDEVNOTIFY notification) {
    call.close<DeviceNotification>(notification);
}

SIMULATE(BOOL, PostMessageW, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    call.misuseIf(window == nullptr, "a message for no window goes to the calling thread itself");
    call.over();
    succeedAs(::PostMessageW(window, message, wParam, lParam));
}

SIMULATE_SURE(
    OrInvalid<DWORD>, MsgWaitForMultipleObjects, DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds,
    DWORD wakeMask) {
    call->threads.settle(true);
    call.failIfTold();
    call.over();
    const DWORD result = ::MsgWaitForMultipleObjects(count, handles, all, milliseconds, wakeMask);
    if (result != WAIT_FAILED)
        Machine::current().threads.settle(false);
    return result;
}

} // namespace

} // namespace zorvan::simulation
