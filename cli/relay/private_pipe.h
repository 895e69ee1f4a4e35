// A pipe between this program and a port, which nobody but this user can reach.
#pragma once

#include "base/unique.h"

#include <string>

namespace portwright {

using UniqueFile = zorvan::Unique<CloseHandle, -1>;

struct PrivatePipe {
    std::string name;
    UniqueFile end; // this program's, for overlapped operations
};

// With one instance, on this computer, for one client: the port. Throws.
PrivatePipe createPrivatePipe(const std::string& port);

} // namespace portwright
