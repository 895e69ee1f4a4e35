// The ports of the bench's own prefix.
#pragma once

#include "support/client.h"

#include <string>
#include <vector>

namespace zorvan::bench {

using test::createRegisteredLibrary;
using test::devicesOf;
using test::expect;
using test::portName;
using test::readObject;
using test::require;

using Library = ComPointer<IVirtualSerialLibrary>;
using Device = ComPointer<IVirtualSerialDevice>;

// Makes ports, past the library, which waits half a second for each, until there are so many. Returns when a new
// library object finds them all.
void haveThisManyPorts(long count);

// Of an earlier run that was ended.
void deleteAllPorts();

// The path that control requests to the device go to.
std::wstring controlPath(IVirtualSerialDevice& device);

} // namespace zorvan::bench
