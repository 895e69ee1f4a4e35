#include "port_control.h"

#include "base/unique.h"
#include "pnp/device_classes.h"

#include <setupapi.h>

#include <system_error>
#include <vector>

namespace zorvan::devkit {

namespace {

struct DeviceSetTraits {
    using Value = HDEVINFO;
    static Value invalid() { return INVALID_HANDLE_VALUE; }
    static void close(Value set) { SetupDiDestroyDeviceInfoList(set); }
};
using UniqueDeviceSet = Unique<DeviceSetTraits>;

[[noreturn]] void throwError(DWORD error, const char* what) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

// Empty for a device without one.
std::wstring portNameOf(HDEVINFO set, SP_DEVINFO_DATA& device) {
    constexpr DWORD kMaximumSize = 512;
    const HKEY opened = SetupDiOpenDevRegKey(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    const UniqueRegistryKey key(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
    wchar_t name[kMaximumSize / sizeof(wchar_t)] = L"";
    DWORD size = sizeof name;
    RegGetValueW(key.get(), nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size);
    return name;
}

std::wstring pathOf(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& interfaceData) {
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, nullptr, 0, &size, nullptr); // asks for the size
    std::vector<BYTE> buffer(size + sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof *detail;
    if (SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, detail, size, nullptr, nullptr) == FALSE)
        throwError(GetLastError(), "SetupDiGetDeviceInterfaceDetail");
    return detail->DevicePath;
}

} // namespace

std::wstring controlPathOf(const std::wstring& portName) {
    const UniqueDeviceSet set(
        SetupDiGetClassDevsW(&pnp::kControlInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD i = 0; SetupDiEnumDeviceInfo(set.get(), i, &device) != FALSE; ++i) {
        if (portNameOf(set.get(), device) != portName)
            continue;
        SP_DEVICE_INTERFACE_DATA control{};
        control.cbSize = sizeof control;
        if (SetupDiEnumDeviceInterfaces(set.get(), &device, &pnp::kControlInterface, 0, &control) != FALSE)
            return pathOf(set.get(), control);
    }
    throwError(ERROR_FILE_NOT_FOUND, "no such port");
}

void sendRequest(const std::wstring& controlPath, protocol::Set request, const protocol::Bytes& input) {
    const auto device = fileHandle(CreateFileW(
        controlPath.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
        0, nullptr));
    if (!device)
        throwError(GetLastError(), "opening the control path");
    auto sent = input;
    DWORD returned = 0;
    if (DeviceIoControl(
            device.get(), static_cast<DWORD>(request), sent.data(), static_cast<DWORD>(sent.size()), nullptr, 0,
            &returned, nullptr) == FALSE)
        throwError(GetLastError(), "the control request");
}

protocol::Bytes localBridge(const std::wstring& partnerName) {
    protocol::RecordWriter record;
    record.appendString(partnerName).appendString(L".");
    record.appendString(L"").appendString(L"").appendString(L""); // login, password, domain
    return record.append(std::uint8_t{0}).bytes();
}

} // namespace zorvan::devkit
