#pragma once

#include <windows.h>

#include <setupapi.h>

// Imported here, and not through <newdev.h>, whose declarations give the address of a thunk in the caller.
extern "C" __declspec(dllimport) BOOL WINAPI DiInstallDevice(
    HWND parent, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL needReboot);

namespace zorvan::devkit {

// DiInstallDevice for the best driver of C:\windows\inf.
BOOL WINAPI installDevice(
    HWND parent, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL needReboot);

} // namespace zorvan::devkit
