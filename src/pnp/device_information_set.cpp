#include "pnp/device_information_set.h"

#include <cfgmgr32.h>

namespace zorvan::pnp {

namespace {

HDEVINFO getPresentDevices(const GUID& interfaceClass, HDEVINFO existing) {
    return SetupDiGetClassDevsExW(
        &interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, existing, nullptr, nullptr);
}

} // namespace

DeviceInformationSet presentDevices(const GUID& interfaceClass) {
    return DeviceInformationSet(getPresentDevices(interfaceClass, nullptr));
}

void addPresentDevices(DeviceInformationSet& set, const GUID& interfaceClass) {
    // The system adds to the set that it is given, and returns it.
    const HDEVINFO extended = getPresentDevices(interfaceClass, set.get());
    if (extended != set.get())
        set.reset(extended);
}

std::wstring deviceInstanceId(const SP_DEVINFO_DATA& device) {
    constexpr ULONG kSize = 200;
    wchar_t buffer[kSize]{};
    // A failure leaves the buffer empty.
    CM_Get_Device_IDW(device.DevInst, buffer, kSize, 0);
    buffer[kSize - 1] = 0;
    return buffer;
}

UniqueRegistryKey openHardwareKey(HDEVINFO set, SP_DEVINFO_DATA& device, REGSAM access) {
    const HKEY key = SetupDiOpenDevRegKey(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, access);
    return UniqueRegistryKey(key == INVALID_HANDLE_VALUE ? nullptr : key);
}

UniqueRegistryKey openHardwareKey(const std::wstring& instanceId) {
    const DeviceInformationSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (!set || SetupDiOpenDeviceInfoW(set.get(), instanceId.c_str(), nullptr, 0, &device) == FALSE)
        return {};
    return openHardwareKey(set.get(), device, KEY_READ);
}

bool readInstallFlags(HDEVINFO set, SP_DEVINFO_DATA& device, DWORD& flags) {
    SP_DEVINSTALL_PARAMS_W parameters{};
    parameters.cbSize = sizeof parameters;
    const BOOL succeeded = SetupDiGetDeviceInstallParamsW(set, &device, &parameters);
    flags = parameters.Flags;
    return succeeded != FALSE;
}

bool askForRestart(DWORD installFlags) {
    return (installFlags & (DI_NEEDREBOOT | DI_NEEDRESTART)) != 0;
}

} // namespace zorvan::pnp
