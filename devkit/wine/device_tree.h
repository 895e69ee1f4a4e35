// The machine's tree of devices, which Wine's setupapi reads and changes with no regard to others.
#pragma once

#include "base/unique.h"
#include "export_redirect.h"
#include "mutex_lock.h"

#include <array>

namespace zorvan::devkit {

// One reader or writer of the tree at a time, on the whole machine; a thread may own it more than once. Whoever waits
// too long goes on without: the danger is small, and a machine that hangs is worse.
class DeviceTreeLock {
public:
    DeviceTreeLock();

private:
    UniqueHandle mutex_;
    MutexLock lock_;
};

// Puts the lock around what reads the tree, and around the choice of an instance ID. An enumeration goes through the
// keys of the registry by their number, so that it skips a device when another one is removed meanwhile; and two
// devices that are created at once may be given the same ID. The ID is chosen here, too.
extern std::array<ExportRedirect, 2> deviceTreeRedirects;

} // namespace zorvan::devkit
