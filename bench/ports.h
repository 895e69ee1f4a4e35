// The ports of the bench's own prefix.
#pragma once

#include "examples/client.h"

#include <vector>

namespace zorvan::bench {

using Library = ComPtr<IVirtualSerialLibrary>;
using Device = ComPtr<IVirtualSerialDevice>;

// Makes ports, past the library, which waits half a second for each, until there are so many. Returns when a new
// library object finds them all.
void haveThisManyPorts(long count);

// Of an earlier run that was ended.
void deleteAllPorts();

// As the library object knows them now.
std::vector<Device> devicesOf(IVirtualSerialLibrary& library);

// The path that control requests to the device go to.
std::wstring controlPath(IVirtualSerialDevice& device);

} // namespace zorvan::bench
