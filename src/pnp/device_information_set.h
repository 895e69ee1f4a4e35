// Device information sets and what is read from their elements.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <setupapi.h>

#include <string>

namespace zorvan::pnp {

using DeviceInformationSet = Unique<SetupDiDestroyDeviceInfoList, -1>;

// The present devices with an interface of this class; no set when the system refuses.
DeviceInformationSet presentDevices(const GUID& interfaceClass);

// Adds the present devices with an interface of this class to the set. No set is left when the system refuses.
void addPresentDevices(DeviceInformationSet& set, const GUID& interfaceClass);

// Calls visit(SP_DEVINFO_DATA&) for each device of the set.
template <class Visit>
void forEachDevice(const DeviceInformationSet& set, Visit&& visit) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; set && SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index)
        visit(device);
}

// Empty when the system does not tell.
std::wstring deviceInstanceId(const SP_DEVINFO_DATA& device);

inline constexpr REGSAM kReadAndWrite = KEY_READ | KEY_WRITE;

// The device's hardware key; none when it does not open.
UniqueRegistryKey openHardwareKey(HDEVINFO set, SP_DEVINFO_DATA& device, REGSAM access);

// The same for reading; none also when there is no device with this instance ID.
UniqueRegistryKey openHardwareKey(const std::wstring& instanceId);

// What the class installer has noted about the device. Whether the system told; the flags are set all the same.
bool readInstallFlags(HDEVINFO set, SP_DEVINFO_DATA& device, DWORD& flags);

// Whether they ask for a restart of the device or the computer.
bool askForRestart(DWORD installFlags);

} // namespace zorvan::pnp
