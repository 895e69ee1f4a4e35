// Who is told what a refresh has found.
#pragma once

#include "device/virtual_serial_device.h"

#include <vector>

namespace zorvan {

using DeviceHolds = std::vector<DeviceHold>;

// Called on the thread that refreshes, with lists that are not empty.
class ChangeSink {
public:
    virtual void devicesAdded(const DeviceHolds& devices) = 0;
    virtual void devicesDeleted(const DeviceHolds& devices) = 0;

protected:
    ~ChangeSink() = default;
};

} // namespace zorvan
