#include "device_node.h"

#include "base/guid.h"

#include <system_error>

namespace zorvan::test {
namespace {

constexpr GUID kPortsClass = parseGuid("{4D36E978-E325-11CE-BFC1-08002BE10318}");
constexpr wchar_t kHardwareIds[] = L"QELTRAVIRT\\QeltraZorvan3\0"; // a list: closed by a second terminator
constexpr unsigned kFirstTestPort = 200;
constexpr unsigned kTestPorts = 100;
constexpr DWORD kStartTimeout = 20'000; // milliseconds

[[noreturn]] void throwLastError(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

void check(BOOL succeeded, const char* what) {
    if (!succeeded)
        throwLastError(what);
}

std::wstring instanceIdOf(HDEVINFO set, SP_DEVINFO_DATA& node) {
    wchar_t id[200];
    check(SetupDiGetDeviceInstanceIdW(set, &node, id, 200, nullptr), "SetupDiGetDeviceInstanceId");
    return id;
}

std::wstring pathOf(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& interfaceData, SP_DEVINFO_DATA& node) {
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, nullptr, 0, &size, &node);
    std::vector<std::byte> storage(size);
    auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(storage.data());
    detail->cbSize = sizeof *detail;
    check(
        SetupDiGetDeviceInterfaceDetailW(set, &interfaceData, detail, size, nullptr, &node),
        "SetupDiGetDeviceInterfaceDetail");
    return detail->DevicePath;
}

std::wstring portNameOf(HDEVINFO set, SP_DEVINFO_DATA& node) {
    const HKEY key = SetupDiOpenDevRegKey(set, &node, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_QUERY_VALUE);
    if (key == INVALID_HANDLE_VALUE)
        return {};
    const UniqueRegistryKey owner(key);
    wchar_t name[256];
    DWORD size = sizeof name;
    const auto error = RegGetValueW(key, nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size);
    return error == ERROR_SUCCESS ? name : std::wstring();
}

bool isTestPort(const std::wstring& portName) {
    for (unsigned number = 0; number < kTestPorts; ++number)
        if (portName == testPortName(number))
            return true;
    return false;
}

} // namespace

const GUID kControlInterface = parseGuid("{24E7F5CF-EF4A-4BD2-87F4-722102E53963}");
const GUID kSerialInterface = parseGuid("{86E0D1E0-8089-11D0-9CE4-08003E301F73}");

std::wstring testPortName(unsigned number) {
    return L"COM" + std::to_wstring(kFirstTestPort + number);
}

DeviceNode::DeviceNode(std::wstring portName) : portName_(std::move(portName)) {
    try {
        registerNode();
        writePortName();
        install();
        findInterfaces();
    } catch (...) {
        remove();
        throw;
    }
}

DeviceNode::~DeviceNode() {
    remove();
}

void DeviceNode::registerNode() {
    set_.reset(SetupDiCreateDeviceInfoList(&kPortsClass, nullptr));
    check(static_cast<bool>(set_), "SetupDiCreateDeviceInfoList");
    node_.cbSize = sizeof node_;
    check(
        SetupDiCreateDeviceInfoW(set_.get(), L"Ports", &kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &node_),
        "SetupDiCreateDeviceInfo");
    check(
        SetupDiSetDeviceRegistryPropertyW(
            set_.get(), &node_, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(kHardwareIds), sizeof kHardwareIds),
        "SetupDiSetDeviceRegistryProperty");
    check(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_.get(), &node_), "DIF_REGISTERDEVICE");
    registered_ = true;
    instanceId_ = instanceIdOf(set_.get(), node_);
}

void DeviceNode::writePortName() {
    const HKEY created =
        SetupDiCreateDevRegKeyW(set_.get(), &node_, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    check(created != INVALID_HANDLE_VALUE, "SetupDiCreateDevRegKey");
    const UniqueRegistryKey key(created);
    const auto size = static_cast<DWORD>((portName_.size() + 1) * sizeof(wchar_t));
    const auto error =
        RegSetValueExW(key.get(), L"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(portName_.c_str()), size);
    if (error != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(error), std::system_category(), "RegSetValueEx of PortName");
}

void DeviceNode::install() {
    check(SetupDiBuildDriverInfoList(set_.get(), &node_, SPDIT_COMPATDRIVER), "SetupDiBuildDriverInfoList");
    check(SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, set_.get(), &node_), "DIF_SELECTBESTCOMPATDRV");
    check(SetupDiCallClassInstaller(DIF_INSTALLDEVICE, set_.get(), &node_), "DIF_INSTALLDEVICE");
}

void DeviceNode::findInterfaces() {
    const auto deadline = GetTickCount64() + kStartTimeout;
    for (;;) {
        const auto control = interfacePaths(kControlInterface, instanceId_);
        const auto serial = interfacePaths(kSerialInterface, instanceId_);
        if (!control.empty() && !serial.empty()) {
            controlPath_ = control.front();
            serialPath_ = serial.front();
            return;
        }
        if (GetTickCount64() > deadline) {
            SetLastError(ERROR_TIMEOUT);
            throwLastError("the driver did not start the device");
        }
        Sleep(50);
    }
}

void DeviceNode::remove() {
    if (std::exchange(registered_, false))
        SetupDiCallClassInstaller(DIF_REMOVE, set_.get(), &node_);
}

void removeLeftovers() {
    const UniqueDeviceSet set(SetupDiGetClassDevsW(&kPortsClass, nullptr, nullptr, 0));
    check(static_cast<bool>(set), "SetupDiGetClassDevs");
    SP_DEVINFO_DATA node{};
    node.cbSize = sizeof node;
    for (DWORD i = 0; SetupDiEnumDeviceInfo(set.get(), i, &node); ++i)
        if (isTestPort(portNameOf(set.get(), node)))
            check(SetupDiCallClassInstaller(DIF_REMOVE, set.get(), &node), "DIF_REMOVE");
}

std::vector<std::wstring> interfacePaths(const GUID& interfaceClass, const std::wstring& instanceId) {
    const UniqueDeviceSet set(
        SetupDiGetClassDevsW(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    check(static_cast<bool>(set), "SetupDiGetClassDevs");
    std::vector<std::wstring> paths;
    SP_DEVICE_INTERFACE_DATA interfaceData{};
    interfaceData.cbSize = sizeof interfaceData;
    for (DWORD i = 0; SetupDiEnumDeviceInterfaces(set.get(), nullptr, &interfaceClass, i, &interfaceData); ++i) {
        SP_DEVINFO_DATA node{};
        node.cbSize = sizeof node;
        auto path = pathOf(set.get(), interfaceData, node);
        if (instanceId.empty() || instanceId == instanceIdOf(set.get(), node))
            paths.push_back(std::move(path));
    }
    return paths;
}

} // namespace zorvan::test
