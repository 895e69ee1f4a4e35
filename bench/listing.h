// The listing of ports that a refresh does, with the system's functions alone.
#pragma once

#include <windows.h>

#include <setupapi.h>

#include <cfgmgr32.h>

namespace zorvan::bench {

// Over Windows, or over functions that stand in for it.
struct ListingFunctions {
    decltype(&SetupDiGetClassDevsExW) getClassDevices = SetupDiGetClassDevsExW;
    decltype(&SetupDiEnumDeviceInfo) enumerate = SetupDiEnumDeviceInfo;
    decltype(&CM_Get_Device_IDW) getId = CM_Get_Device_IDW;
    decltype(&SetupDiDestroyDeviceInfoList) destroy = SetupDiDestroyDeviceInfoList;
};

// How many devices with a control interface there are.
DWORD listDevices(const ListingFunctions& system = {});

} // namespace zorvan::bench
