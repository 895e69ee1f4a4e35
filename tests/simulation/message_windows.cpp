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

std::vector<std::string> MessageWindows::held() const {
    std::vector<std::string> descriptions(windows.size(), "window");
    for (const auto& name : classes)
        descriptions.push_back("window class " + describe(name));
    return descriptions;
}

namespace {

SIMULATE(ATOM, RegisterClassExW, const WNDCLASSEXW* windowClass) {
    const FailableCall call("RegisterClassExW");
    const ATOM atom = ::RegisterClassExW(windowClass);
    call.misuseIf(atom == 0, "the class cannot be registered, error " + std::to_string(GetLastError()));
    call->windows.classes.insert(windowClass->lpszClassName);
    return atom;
}

SIMULATE(BOOL, UnregisterClassW, LPCWSTR name, HINSTANCE instance) {
    const Call call("UnregisterClassW");
    succeedAs(::UnregisterClassW(name, instance));
    call->windows.classes.erase(name);
}

// Calls that lead to the window's procedure are over before: it may wait for other threads.

SIMULATE(
    HWND, CreateWindowExW, DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y,
    int width, int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
    {
        const FailableCall call(
            "CreateWindowExW", Hex{extendedStyle}, Hex{style}, parent == HWND_MESSAGE ? "message-only" : "visible");
    }
    HWND window = ::CreateWindowExW(
        extendedStyle, className, title, style, x, y, width, height, parent, menu, instance, parameter);
    const Guard lock(simulationMutex());
    if (window != nullptr)
        Machine::current().windows.windows.insert(window);
    return window;
}

SIMULATE(BOOL, DestroyWindow, HWND window) {
    {
        const Call call("DestroyWindow");
        call.misuseIf(call->windows.windows.erase(window) == 0, "the window is none of the library's");
    }
    succeedAs(::DestroyWindow(window));
}

SIMULATE(HDEVNOTIFY, RegisterDeviceNotificationW, HANDLE recipient, LPVOID filter, DWORD flags) {
    const auto& wanted = *static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(filter);
    const FailableCall call(
        "RegisterDeviceNotificationW", wanted.dbcc_size, wanted.dbcc_devicetype, &wanted.dbcc_classguid, flags);
    const auto notification = std::make_shared<DeviceNotification>(recipient, wanted.dbcc_classguid);
    call->windows.notifications.emplace_back(notification);
    return call.open(notification);
}

SIMULATE(BOOL, UnregisterDeviceNotification, HDEVNOTIFY notification) {
    const Call call("UnregisterDeviceNotification");
    call.close<DeviceNotification>(notification);
}

SIMULATE(BOOL, PostMessageW, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    {
        const FailableCall call("PostMessageW", Hex{message});
        call.misuseIf(window == nullptr, "a message for no window goes to the calling thread itself");
    }
    succeedAs(::PostMessageW(window, message, wParam, lParam));
}

SIMULATE(
    OrInvalid<DWORD>, MsgWaitForMultipleObjects, DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds,
    DWORD wakeMask) {
    std::vector<HANDLE> real;
    {
        const Call call("MsgWaitForMultipleObjects", count, all ? "all" : "any", milliseconds, Hex{wakeMask});
        real = realHandles(handles, count);
        call->threads.settle(true);
        call.failIfTold();
    }
    const DWORD result = ::MsgWaitForMultipleObjects(count, real.data(), all, milliseconds, wakeMask);
    if (result != WAIT_FAILED)
        Machine::current().threads.settle(false);
    return result;
}

} // namespace

} // namespace zorvan::simulation
