// A message-only window that receives device notifications.
#pragma once

#include "base/unique.h"

#include <windows.h>

namespace zorvan {

using UniqueWindow = Unique<DestroyWindow>;
using UniqueDeviceNotification = Unique<UnregisterDeviceNotification>;

// The module's window class. It is registered while anybody uses it, because the system does not unregister the
// classes of a DLL that is unloaded.
class WindowClass {
public:
    explicit WindowClass(WNDPROC procedure);
    WindowClass(const WindowClass&) = delete;
    WindowClass& operator=(const WindowClass&) = delete;
    ~WindowClass();

    // No window when the system refuses. The procedure gets the parameter with WM_NCCREATE.
    UniqueWindow createWindow(void* parameter) const;
};

// Reports devices with an interface of this class that come and go to the window, as WM_DEVICECHANGE.
UniqueDeviceNotification notifyOfDevices(HWND window, const GUID& interfaceClass);

} // namespace zorvan
