#include "device_tree.h"

#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <optional>

namespace zorvan::devkit {

namespace {

constexpr wchar_t kTreeMutex[] = L"Global\\zorvanlib-devkit-device-tree";
constexpr DWORD kPatience = 120000; // milliseconds

// The process that hosts the driver works for an installation or removal whose client has the lock.
std::optional<DeviceTreeLock> lockUnlessDriver() {
    if (GetModuleHandleW(L"ntoskrnl.exe") != nullptr)
        return std::nullopt;
    return std::optional<DeviceTreeLock>(std::in_place);
}

template <class Function>
Function* original(Function*, const ExportRedirect& redirect) {
    return reinterpret_cast<Function*>(redirect.original());
}

HDEVINFO WINAPI getClassDevs(
    const GUID* setupOrInterfaceClass, PCWSTR enumerator, HWND parent, DWORD flags, HDEVINFO set, PCWSTR machine,
    void* reserved) {
    const auto lock = lockUnlessDriver();
    return original(&SetupDiGetClassDevsExW, deviceTreeRedirects[0])(
        setupOrInterfaceClass, enumerator, parent, flags, set, machine, reserved);
}

using InstanceId = wchar_t[MAX_DEVICE_ID_LEN];

// A client that is ended while setupapi makes a node for it leaves a key without a class. Nobody sees that; it is in
// the way of the next node only.
bool nodeExists(const InstanceId& id) {
    constexpr wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum\\";
    wchar_t path[std::size(kEnum) + MAX_DEVICE_ID_LEN];
    std::swprintf(path, std::size(path), L"%ls%ls", kEnum, id); // fits
    if (RegGetValueW(HKEY_LOCAL_MACHINE, path, L"ClassGUID", RRF_RT_REG_SZ, nullptr, nullptr, nullptr) ==
        ERROR_SUCCESS)
        return true;
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, path); // normally there is none
    return false;
}

// The first one of the name that is free. False for a name that cannot have one.
bool chooseInstanceId(PCWSTR name, InstanceId& id) {
    if (name == nullptr || std::wcschr(name, L'\\') != nullptr)
        return false;
    unsigned number = 0;
    do
        if (std::swprintf(id, std::size(id), L"ROOT\\%ls\\%04u", name, number++) < 0)
            return false;
    while (nodeExists(id));
    return true;
}

// Where setupapi chooses an instance ID itself, it leaves a registry key open each time. So it is chosen here.
BOOL WINAPI createDeviceInfo(
    HDEVINFO set, PCWSTR name, const GUID* setupClass, PCWSTR description, HWND parent, DWORD flags,
    PSP_DEVINFO_DATA device) {
    const auto lock = lockUnlessDriver();
    InstanceId id;
    if ((flags & DICD_GENERATE_ID) != 0 && chooseInstanceId(name, id)) {
        name = id;
        flags &= ~static_cast<DWORD>(DICD_GENERATE_ID);
    }
    return original(&SetupDiCreateDeviceInfoW, deviceTreeRedirects[1])(
        set, name, setupClass, description, parent, flags, device);
}

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace

DeviceTreeLock::DeviceTreeLock() : mutex_(CreateMutexW(nullptr, FALSE, kTreeMutex)), lock_(mutex_.get(), kPatience) {}

std::array<ExportRedirect, 2> deviceTreeRedirects{
    ExportRedirect(address(&SetupDiGetClassDevsExW), address(&getClassDevs), ExportRedirect::KeepOriginal::Yes),
    ExportRedirect(
        address(&SetupDiCreateDeviceInfoW), address(&createDeviceInfo), ExportRedirect::KeepOriginal::Yes)};

} // namespace zorvan::devkit
