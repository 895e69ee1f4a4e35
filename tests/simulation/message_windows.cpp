#include "simulation/message_windows.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <dbt.h>

namespace zorvan::simulation {

void MessageWindows::announce(WPARAM event, std::optional<DWORD> dataType, const GUID& interfaceClass) const {
    DEV_BROADCAST_DEVICEINTERFACE_W data{};
    data.dbcc_size = sizeof data;
    data.dbcc_devicetype = dataType.value_or(0);
    data.dbcc_classguid = interfaceClass;
    std::vector<HWND> receivers;
    {
        const std::lock_guard lock(simulationMutex());
        for (const auto& registered : notifications)
            if (const auto notification = registered.lock())
                if (notification->interfaceClass == interfaceClass)
                    receivers.push_back(notification->window);
    }
    for (HWND receiver : receivers)
        ::SendMessageW(receiver, WM_DEVICECHANGE, event, dataType ? reinterpret_cast<LPARAM>(&data) : 0);
}

std::vector<std::string> MessageWindows::held() const {
    std::vector<std::string> descriptions(windows.size(), "window");
    for (const auto& name : classes)
        descriptions.push_back("window class " + describe(name));
    return descriptions;
}

namespace {

ATOM WINAPI registerClass(const WNDCLASSEXW* windowClass) {
    Call call("RegisterClassExW");
    if (call.fails())
        return 0;
    const ATOM atom = ::RegisterClassExW(windowClass);
    if (atom == 0)
        call.reportMisuse("the class cannot be registered, error " + std::to_string(GetLastError()));
    else
        call->windows.classes.insert(windowClass->lpszClassName);
    return atom;
}
SIMULATE(RegisterClassExW, registerClass);

BOOL WINAPI unregisterClass(LPCWSTR name, HINSTANCE instance) {
    Call call("UnregisterClassW");
    const BOOL done = ::UnregisterClassW(name, instance);
    if (done != FALSE)
        call->windows.classes.erase(name);
    return done;
}
SIMULATE(UnregisterClassW, unregisterClass);

// Calls that lead to the window's procedure run outside any lock: it may wait for other threads.

HWND WINAPI createWindow(
    DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height,
    HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
    {
        Call call(
            "CreateWindowExW", Hex{extendedStyle}, Hex{style}, parent == HWND_MESSAGE ? "message-only" : "visible");
        if (call.fails())
            return nullptr;
    }
    HWND window = ::CreateWindowExW(
        extendedStyle, className, title, style, x, y, width, height, parent, menu, instance, parameter);
    const std::lock_guard lock(simulationMutex());
    if (window != nullptr)
        Machine::current().windows.windows.insert(window);
    return window;
}
SIMULATE(CreateWindowExW, createWindow);

BOOL WINAPI destroyWindow(HWND window) {
    {
        Call call("DestroyWindow");
        if (call->windows.windows.erase(window) == 0)
            call.reportMisuse("the window is none of the library's");
    }
    return ::DestroyWindow(window);
}
SIMULATE(DestroyWindow, destroyWindow);

HDEVNOTIFY WINAPI registerDeviceNotification(HANDLE recipient, LPVOID filter, DWORD flags) {
    const auto& wanted = *static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(filter);
    Call call("RegisterDeviceNotificationW", wanted.dbcc_size, wanted.dbcc_devicetype, &wanted.dbcc_classguid, flags);
    if (call.fails())
        return nullptr;
    const auto notification = std::make_shared<DeviceNotification>();
    notification->window = static_cast<HWND>(recipient);
    notification->interfaceClass = wanted.dbcc_classguid;
    call->windows.notifications.emplace_back(notification);
    return call.open(notification);
}
SIMULATE(RegisterDeviceNotificationW, registerDeviceNotification);

BOOL WINAPI unregisterDeviceNotification(HDEVNOTIFY notification) {
    Call call("UnregisterDeviceNotification");
    if (call.object<DeviceNotification>(notification) == nullptr)
        return FALSE;
    call.close(notification);
    return TRUE;
}
SIMULATE(UnregisterDeviceNotification, unregisterDeviceNotification);

BOOL WINAPI postMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    {
        Call call("PostMessageW", Hex{message});
        if (window == nullptr)
            call.reportMisuse("a message for no window goes to the calling thread itself");
        if (call.fails())
            return FALSE;
    }
    return ::PostMessageW(window, message, wParam, lParam);
}
SIMULATE(PostMessageW, postMessage);

DWORD WINAPI
msgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, DWORD wakeMask) {
    std::vector<HANDLE> real;
    bool fails = false;
    {
        Call call("MsgWaitForMultipleObjects", count, all ? "all" : "any", milliseconds, Hex{wakeMask});
        fails = call.fails();
        real = realHandles(handles, count);
        call->threads.settle(true);
    }
    if (fails)
        return WAIT_FAILED;
    const DWORD result = ::MsgWaitForMultipleObjects(count, real.data(), all, milliseconds, wakeMask);
    if (result != WAIT_FAILED)
        Machine::current().threads.settle(false);
    return result;
}
SIMULATE(MsgWaitForMultipleObjects, msgWaitForMultipleObjects);

} // namespace

} // namespace zorvan::simulation
