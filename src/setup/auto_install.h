// The driver package, put into the system's driver store and taken out again.
#pragma once

#include <windows.h>

namespace zorvan::setup {

// What the export AutoInstallEx does: S_OK, S_FALSE for a success that needs a restart, or what went wrong. Some
// failures are thrown.
HRESULT autoInstall(int mode);

} // namespace zorvan::setup
