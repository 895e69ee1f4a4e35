// Windows without a picture, which receive device notifications. They and their messages are real, but counted,
// recorded and failable; the notifications are the simulation's own.
#pragma once

#include "simulation/handle_table.h"

#include <optional>

namespace zorvan::simulation {

struct DeviceNotification : NoKernelObject {
    DeviceNotification(HANDLE recipient, const GUID& notifiedOf)
        : NoKernelObject("device notification"), window(static_cast<HWND>(recipient)), interfaceClass(notifiedOf) {}

    const HWND window;
    const GUID interfaceClass;
};

struct MessageWindows {
    // Sends WM_DEVICECHANGE to each window that is notified of the control interface, and returns when all have
    // handled it. Without a data type the message comes without data. Not for a call's action.
    void announce(WPARAM event, std::optional<DWORD> dataType) const;

    std::vector<std::weak_ptr<DeviceNotification>> notifications;
};

} // namespace zorvan::simulation
