// Devices as clients hold them.
#pragma once

#include "base/com_pointer.h"

#include <zorvanlib.h>

#include <vector>

namespace zorvan {

using DeviceReferences = std::vector<ComPointer<IVirtualSerialDevice>>;

} // namespace zorvan
