#include "events/message_window.h"

#include "base/module_instance.h"
#include "base/slim_lock.h"

#include <dbt.h>

namespace zorvan {

namespace {

constexpr wchar_t kClassName[] = L"ZorvanlibEventWindow";

SlimLock windowLock;
int windowUsers = 0;

void registerClass(WNDPROC procedure) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = moduleInstance();
    windowClass.lpszClassName = kClassName;
    RegisterClassExW(&windowClass); // without it no window is created, which is where failure is noticed
}

} // namespace

WindowClass::WindowClass(WNDPROC procedure) {
    const HeldLock held(windowLock);
    if (windowUsers++ == 0)
        registerClass(procedure);
}

WindowClass::~WindowClass() {
    const HeldLock held(windowLock);
    if (--windowUsers == 0)
        UnregisterClassW(kClassName, moduleInstance());
}

UniqueWindow WindowClass::createWindow(void* parameter) const {
    constexpr DWORD kStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;
    return UniqueWindow(CreateWindowExW(
        0, kClassName, nullptr, kStyle, 0, 0, 0, 0, HWND_MESSAGE, nullptr, moduleInstance(), parameter));
}

UniqueDeviceNotification notifyOfDevices(HWND window, const GUID& interfaceClass) {
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof filter;
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = interfaceClass;
    return UniqueDeviceNotification(RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE));
}

} // namespace zorvan
