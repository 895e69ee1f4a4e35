// Device nodes of the machine, and what is read from them. Failures are thrown as Failure.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <setupapi.h>

#include <string>

namespace portwright::doctor {

// With a second NUL at the end, as a node has it: a list.
inline constexpr wchar_t kHardwareIds[] = L"QELTRAVIRT\\QeltraZorvan3\0";

using DeviceSet = zorvan::Unique<SetupDiDestroyDeviceInfoList, -1>;

// Those of a class, or of all classes; the flags are those of SetupDiGetClassDevs.
DeviceSet devices(const GUID* deviceClass, DWORD flags);
// No device, for one that is added.
DeviceSet emptySet(const GUID* setupClass);

template <class Visit>
void forEachDevice(const DeviceSet& set, Visit&& visit) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index)
        visit(device);
}

std::string instanceId(const DeviceSet& set, SP_DEVINFO_DATA& device);
// The first text of a property; empty when the device has none.
std::wstring property(const DeviceSet& set, SP_DEVINFO_DATA& device, DWORD property);
// Empty when the device has none.
std::string portName(const DeviceSet& set, SP_DEVINFO_DATA& device);

} // namespace portwright::doctor
