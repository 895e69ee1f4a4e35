// Stands in for two functions of setupapi that Wine 8 only names: they return FALSE and set no last error.
#include "setupapi_stand_in.h"

#include "base/unique.h"
#include "failed_call.h"

#include <cfgmgr32.h>
#include <ole2.h>

#include <new>
#include <optional>
#include <string>

namespace zorvan::devkit {

namespace {

constexpr wchar_t kInterfaceClasses[] = L"SYSTEM\\CurrentControlSet\\Control\\DeviceClasses\\";
constexpr std::size_t kPrefixLength = 4; // \\?\ and its like
constexpr std::size_t kGuidLength = 38;

// What an interface path says: \\?\ device # {class}, and \ reference where the device has several of the class.
struct InterfaceName {
    GUID interfaceClass;
    std::wstring key; // of the interface in the registry
    std::wstring reference;
};

std::optional<InterfaceName> parseInterfacePath(const std::wstring& path) {
    if (path.size() <= kPrefixLength || path[0] != L'\\' || path[kPrefixLength - 1] != L'\\')
        return std::nullopt;
    const std::size_t slash = path.find(L'\\', kPrefixLength);
    const std::wstring name = path.substr(kPrefixLength, slash - kPrefixLength);
    if (name.size() <= kGuidLength)
        return std::nullopt;
    const std::wstring guid = name.substr(name.size() - kGuidLength);
    InterfaceName parsed{};
    if (FAILED(CLSIDFromString(guid.c_str(), &parsed.interfaceClass)))
        return std::nullopt;
    parsed.key = kInterfaceClasses + guid + L"\\##?#" + name;
    if (slash != std::wstring::npos)
        parsed.reference = path.substr(slash + 1);
    return parsed;
}

bool keyExists(const std::wstring& path) {
    UniqueRegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, key.put()) == ERROR_SUCCESS;
}

// The instance ID of the device that has the interface; empty when there is no such interface.
std::wstring findDevice(const InterfaceName& name) {
    wchar_t id[MAX_DEVICE_ID_LEN];
    DWORD size = sizeof id;
    if (!keyExists(name.key + L"\\#" + name.reference) ||
        RegGetValueW(HKEY_LOCAL_MACHINE, name.key.c_str(), L"DeviceInstance", RRF_RT_REG_SZ, nullptr, id, &size) !=
            ERROR_SUCCESS)
        return {};
    return id;
}

bool containsDevice(HDEVINFO set, const std::wstring& id) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
        wchar_t other[MAX_DEVICE_ID_LEN];
        if (SetupDiGetDeviceInstanceIdW(set, &device, other, MAX_DEVICE_ID_LEN, nullptr) &&
            CompareStringOrdinal(id.c_str(), -1, other, -1, TRUE) == CSTR_EQUAL)
            return true;
    }
    return false;
}

// Creating an interface that exists opens it, and adds just that one to the set. A caller's structure of the wrong
// size is reported, as documented, after the interface was added.
BOOL addInterface(
    HDEVINFO set, const std::wstring& id, const InterfaceName& name, PSP_DEVICE_INTERFACE_DATA interfaceData) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (!SetupDiOpenDeviceInfoW(set, id.c_str(), nullptr, 0, &device))
        return FALSE;
    return SetupDiCreateDeviceInterfaceW(
        set, &device, &name.interfaceClass, name.reference.c_str(), 0, interfaceData);
}

BOOL openByPath(HDEVINFO set, PCWSTR path, DWORD flags, PSP_DEVICE_INTERFACE_DATA interfaceData) {
    const std::optional<InterfaceName> name = parseInterfacePath(path);
    if (!name)
        return fail(ERROR_INVALID_PARAMETER);
    const std::wstring id = findDevice(*name);
    if (id.empty() || ((flags & DIODI_NO_ADD) && !containsDevice(set, id)))
        return fail(ERROR_NO_SUCH_DEVICE_INTERFACE);
    return addInterface(set, id, *name, interfaceData);
}

bool isHandle(HDEVINFO set) {
    SP_DEVINFO_LIST_DETAIL_DATA_W detail{};
    detail.cbSize = sizeof detail;
    return SetupDiGetDeviceInfoListDetailW(set, &detail);
}

// Marks the element as one with parameters of its own, or as one without.
BOOL setParamsFlag(HDEVINFO set, PSP_DEVINFO_DATA device, bool present) {
    SP_DEVINSTALL_PARAMS_W params{};
    params.cbSize = sizeof params;
    if (!SetupDiGetDeviceInstallParamsW(set, device, &params))
        return FALSE;
    constexpr DWORD kHasParams = DI_CLASSINSTALLPARAMS;
    params.Flags = present ? params.Flags | kHasParams : params.Flags & ~kHasParams;
    return SetupDiSetDeviceInstallParamsW(set, device, &params);
}

// Wine removes a device from all hardware profiles whatever its parameters say. So there is nothing to keep of
// those that say the same, and those that say otherwise have to be refused.
DWORD checkRemovalParams(const SP_CLASSINSTALL_HEADER& header, DWORD size) {
    if (size != sizeof(SP_REMOVEDEVICE_PARAMS))
        return ERROR_INVALID_USER_BUFFER;
    const auto& params = reinterpret_cast<const SP_REMOVEDEVICE_PARAMS&>(header);
    switch (params.Scope) {
    case DI_REMOVEDEVICE_GLOBAL:
        return ERROR_SUCCESS;
    case DI_REMOVEDEVICE_CONFIGSPECIFIC:
        return ERROR_CALL_NOT_IMPLEMENTED;
    default:
        return ERROR_INVALID_PARAMETER;
    }
}

DWORD checkParams(const SP_CLASSINSTALL_HEADER& header, DWORD size) {
    if (size < sizeof header || header.cbSize != sizeof header)
        return ERROR_INVALID_USER_BUFFER;
    return header.InstallFunction == DIF_REMOVE ? checkRemovalParams(header, size) : ERROR_CALL_NOT_IMPLEMENTED;
}

} // namespace

BOOL WINAPI openDeviceInterface(HDEVINFO set, PCWSTR path, DWORD flags, PSP_DEVICE_INTERFACE_DATA interfaceData) {
    if (!isHandle(set))
        return FALSE;
    if (!path)
        return fail(ERROR_INVALID_PARAMETER);
    if (flags & ~static_cast<DWORD>(DIODI_NO_ADD))
        return fail(ERROR_INVALID_FLAGS);
    try {
        return openByPath(set, path, flags, interfaceData);
    } catch (const std::bad_alloc&) {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL WINAPI setClassInstallParams(HDEVINFO set, PSP_DEVINFO_DATA device, PSP_CLASSINSTALL_HEADER params, DWORD size) {
    if (!params)
        return size == 0 ? setParamsFlag(set, device, false) : fail(ERROR_INVALID_PARAMETER);
    if (const DWORD error = checkParams(*params, size); error != ERROR_SUCCESS)
        return fail(error);
    return setParamsFlag(set, device, true);
}

} // namespace zorvan::devkit
