// Which devices of the driver are present.
#pragma once

#include "pnp/device_information_set.h"

#include <string>
#include <vector>

namespace zorvan::pnp {

struct PresentDevice {
    SP_DEVINFO_DATA device;
    std::wstring instanceId;
};

// A view of the present devices. The set also holds their serial port interfaces, so that devices can be opened from
// it for as long as it lives.
struct PresentDevices {
    DeviceInformationSet set;
    std::vector<PresentDevice> records; // ascending by instance ID, letter case included

    bool contains(const std::wstring& instanceId) const;
};

PresentDevices enumeratePresentDevices();

} // namespace zorvan::pnp
