// How a stand-in for a Windows function fails.
#pragma once

#include <windows.h>

namespace zorvan::devkit {

inline BOOL fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

} // namespace zorvan::devkit
