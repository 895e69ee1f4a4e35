// The devices as they were at one time.
#pragma once

#include "base/com_pointer.h"

#include <zorvanlib.h>

#include <vector>

namespace zorvan {

struct DeviceSnapshot {
    std::vector<ComPointer<IVirtualSerialDevice>> devices;
    ComPointer<IUnknown> library; // kept alive, and the module loaded with it, even when there are no devices
};

} // namespace zorvan
