// A call of the system that has failed, as an exception that carries its error.
#pragma once

#include <windows.h>

#include <system_error>

namespace zorvan::devkit {

[[noreturn]] inline void throwError(DWORD error, const char* what) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

[[noreturn]] inline void throwLastError(const char* what) {
    throwError(GetLastError(), what);
}

// For calls that return the error.
inline void throwIfFailed(LSTATUS error, const char* what) {
    if (error != ERROR_SUCCESS)
        throwError(static_cast<DWORD>(error), what);
}

} // namespace zorvan::devkit
