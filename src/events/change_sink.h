// Who is told what a refresh has found.
#pragma once

#include "base/com_pointer.h"

#include <zorvanlib.h>

#include <vector>

namespace zorvan {

using DeviceReferences = std::vector<ComPointer<IVirtualSerialDevice>>;

// Called on the thread that refreshes, with lists that are not empty.
class ChangeSink {
public:
    virtual void devicesAdded(const DeviceReferences& devices) = 0;
    virtual void devicesDeleted(const DeviceReferences& devices) = 0;

protected:
    ~ChangeSink() = default;
};

} // namespace zorvan
