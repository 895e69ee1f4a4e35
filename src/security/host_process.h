// Handles in the driver's host process: handing ours over, and looking at the driver's.
#pragma once

#include "base/unique.h"

#include <cstdint>
#include <string>

namespace zorvan {

// Opens the process for duplicating handles. When plain access is denied, the debug privilege is enabled for the rest
// of this process's life and the open tried once more. Null on failure, with the last error of what failed.
UniqueHandle openHostProcess(DWORD processId) noexcept;

// A handle as the host process knows it. The value is 0 when there is none.
struct HostHandle {
    DWORD processId = 0;
    std::uint64_t value = 0;
    friend bool operator==(const HostHandle& left, const HostHandle& right) { return left.value == right.value; }
};

void closeHostHandle(HostHandle handle);

// Ours until the driver is told of it: see handOver.
using UniqueHostHandle = Unique<closeHostHandle, HostHandle{}>;

// A copy of the handle inside the host process, with the same access; empty on any failure, with its last error.
UniqueHostHandle duplicateIntoHost(DWORD processId, HANDLE localHandle);

// The name of the file or pipe behind a handle of the host process: its path without the drive or the file system.
// Throws the system's error; names of more than 358 characters are too long.
std::wstring getHostHandleName(DWORD processId, std::uint64_t hostHandle);

} // namespace zorvan
