#include "device_tree.h"

#include <setupapi.h>

#include <optional>

namespace zorvan::devkit {

namespace {

constexpr wchar_t kMutex[] = L"Global\\zorvanlib-devkit-device-tree";
constexpr DWORD kPatience = 30000; // milliseconds

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

BOOL WINAPI createDeviceInfo(
    HDEVINFO set, PCWSTR name, const GUID* setupClass, PCWSTR description, HWND parent, DWORD flags,
    PSP_DEVINFO_DATA device) {
    const auto lock = lockUnlessDriver();
    return original(&SetupDiCreateDeviceInfoW, deviceTreeRedirects[1])(
        set, name, setupClass, description, parent, flags, device);
}

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace

DeviceTreeLock::DeviceTreeLock() : mutex_(CreateMutexW(nullptr, FALSE, kMutex)), lock_(mutex_.get(), kPatience) {}

std::array<ExportRedirect, 2> deviceTreeRedirects{
    ExportRedirect(address(&SetupDiGetClassDevsExW), address(&getClassDevs), ExportRedirect::KeepOriginal::Yes),
    ExportRedirect(
        address(&SetupDiCreateDeviceInfoW), address(&createDeviceInfo), ExportRedirect::KeepOriginal::Yes)};

} // namespace zorvan::devkit
