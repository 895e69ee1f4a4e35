#include "doctor/device_nodes.h"

#include "com/failure.h"
#include "com/text.h"

#include <cfgmgr32.h>

namespace portwright::doctor {
namespace {

constexpr char kAsked[] = "list the devices of this machine";

DeviceSet checked(HDEVINFO set) {
    if (set == INVALID_HANDLE_VALUE)
        throwLastError(kAsked);
    return DeviceSet(set);
}

} // namespace

DeviceSet devices(const GUID* deviceClass, DWORD flags) {
    return checked(SetupDiGetClassDevsW(deviceClass, nullptr, nullptr, flags));
}

DeviceSet emptySet(const GUID* setupClass) {
    return checked(SetupDiCreateDeviceInfoList(setupClass, nullptr));
}

std::string instanceId(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    wchar_t id[MAX_DEVICE_ID_LEN]{};
    if (SetupDiGetDeviceInstanceIdW(set.get(), &device, id, MAX_DEVICE_ID_LEN, nullptr) == FALSE)
        throwLastError(kAsked);
    return utf8(id);
}

std::wstring property(const DeviceSet& set, SP_DEVINFO_DATA& device, DWORD property) {
    wchar_t text[512]{};
    SetupDiGetDeviceRegistryPropertyW(
        set.get(), &device, property, nullptr, reinterpret_cast<BYTE*>(text), sizeof text - 2 * sizeof *text,
        nullptr);
    return text;
}

std::string portName(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const HKEY key = SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    if (key == INVALID_HANDLE_VALUE)
        return {}; // without a key there is no name
    const zorvan::UniqueRegistryKey owned(key);
    wchar_t name[MAX_PATH]{};
    DWORD size = sizeof name;
    if (RegGetValueW(key, nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size) != ERROR_SUCCESS)
        return {};
    return utf8(name);
}

} // namespace portwright::doctor
