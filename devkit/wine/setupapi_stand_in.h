#pragma once

#include <windows.h>

#include <setupapi.h>

namespace zorvan::devkit {

// SetupDiOpenDeviceInterfaceW.
BOOL WINAPI openDeviceInterface(HDEVINFO set, PCWSTR path, DWORD flags, PSP_DEVICE_INTERFACE_DATA interfaceData);

// SetupDiSetClassInstallParamsW, for the removal of a device.
BOOL WINAPI setClassInstallParams(HDEVINFO set, PSP_DEVINFO_DATA device, PSP_CLASSINSTALL_HEADER params, DWORD size);

} // namespace zorvan::devkit
