// Handing handles over to the driver's host process.
#pragma once

#include "base/unique.h"

#include <cstdint>

namespace zorvan {

// Opens the process for duplicating handles. When plain access is denied, the debug privilege is enabled for the rest
// of this process's life and the open tried once more. Null on failure, with the last error of what failed.
UniqueHandle openHostProcess(DWORD processId);

// The value of a copy of the handle inside the host process, with the same access; 0 on any failure.
std::uint64_t duplicateIntoHost(DWORD processId, HANDLE localHandle);

} // namespace zorvan
