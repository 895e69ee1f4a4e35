// What a device is known by: found when it is opened, which also gives its driver the notification event.
#pragma once

#include "base/unique.h"
#include "pnp/device_information_set.h"

#include <cstdint>
#include <string>

namespace zorvan::pnp {

struct DeviceIdentity {
    std::wstring controlPath; // interface path that control requests go to
    std::wstring instanceId;
    std::wstring portPath; // interface path of the port itself
    std::wstring portName;
    std::uint32_t hostProcessId = 0;
    bool alive = false;             // bound to the driver
    UniqueHandle notificationEvent; // auto-reset; signalled by the driver
};

// Throws when the event or an interface path cannot be had. A driver that answers with an error makes an identity
// that is not alive.
DeviceIdentity openDevice(HDEVINFO set, SP_DEVINFO_DATA& device, const std::wstring& instanceId);

} // namespace zorvan::pnp
