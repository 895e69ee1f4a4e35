#include "test_device.h"

#include "base/guid.h"
#include "base/unique.h"

#include <cfgmgr32.h>

#include <fstream>
#include <stdexcept>

namespace zorvan::test {

namespace {

constexpr GUID kPortsClass = parseGuid("{4D36E978-E325-11CE-BFC1-08002BE10318}");
constexpr wchar_t kHardwareId[] = L"ZORVANTEST\\StandIn";
constexpr wchar_t kUnknownHardwareId[] = L"ZORVANTEST\\Unknown";
constexpr wchar_t kPackage[] = L"C:\\windows\\inf\\zorvan_standins_test.inf";

constexpr char kPackageText[] = R"([Version]
Signature="$Windows NT$"
Class=Ports
ClassGuid={4D36E978-E325-11CE-BFC1-08002BE10318}
Provider="Test"
[Manufacturer]
"Test"=Models,NTamd64
[Models.NTamd64]
"Stand-in test port"=Install,ZORVANTEST\StandIn
[Install.NTamd64]
[Install.NTamd64.Services]
AddService=,2
)";

void check(bool succeeded, const char* step) {
    if (!succeeded)
        throw std::runtime_error(std::string(step) + ": error " + std::to_string(GetLastError()));
}

UniqueRegistryKey openHardwareKey(HDEVINFO set, SP_DEVINFO_DATA* element) {
    const HKEY key = SetupDiCreateDevRegKeyW(set, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    return UniqueRegistryKey(key == INVALID_HANDLE_VALUE ? nullptr : key);
}

void setHardwareId(HDEVINFO set, SP_DEVINFO_DATA* element, std::wstring id) {
    id += L'\0'; // with the terminator, the end of the list
    check(
        SetupDiSetDeviceRegistryPropertyW(
            set, element, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(id.c_str()),
            static_cast<DWORD>((id.size() + 1) * sizeof(wchar_t))),
        "set the hardware ID");
}

} // namespace

TestPackage::TestPackage() {
    std::ofstream file("C:\\windows\\inf\\zorvan_standins_test.inf");
    file << kPackageText;
    check(file.good(), "write the driver package");
}

TestPackage::~TestPackage() {
    DeleteFileW(kPackage);
    DeleteFileW(L"C:\\windows\\inf\\zorvan_standins_test.pnf");
}

TestDevice::TestDevice(Driver driver) : set_(SetupDiCreateDeviceInfoList(&kPortsClass, nullptr)) {
    check(set_ != INVALID_HANDLE_VALUE, "create a set");
    element_.cbSize = sizeof element_;
    check(
        SetupDiCreateDeviceInfoW(set_, L"Ports", &kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &element_),
        "create a device");
    setHardwareId(set_, &element_, driver == Driver::InPackage ? kHardwareId : kUnknownHardwareId);
    check(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_, &element_), "register the device");
    wchar_t id[MAX_DEVICE_ID_LEN] = {};
    check(SetupDiGetDeviceInstanceIdW(set_, &element_, id, MAX_DEVICE_ID_LEN, nullptr), "read the instance ID");
    instanceId_ = id;
}

TestDevice::~TestDevice() {
    if (exists())
        SetupDiCallClassInstaller(DIF_REMOVE, set_, &element_);
    SetupDiDestroyDeviceInfoList(set_);
}

std::wstring TestDevice::instanceId() {
    return instanceId_;
}

std::wstring TestDevice::friendlyName() {
    wchar_t name[MAX_PATH] = {};
    SetupDiGetDeviceRegistryPropertyW(
        set_, &element_, SPDRP_FRIENDLYNAME, nullptr, reinterpret_cast<BYTE*>(name), sizeof name, nullptr);
    return name;
}

std::wstring TestDevice::portName() {
    const UniqueRegistryKey key = openHardwareKey(set_, &element_);
    wchar_t name[MAX_PATH] = {};
    DWORD size = sizeof name;
    RegGetValueW(key.get(), nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size);
    return name;
}

void TestDevice::setPortName(const std::wstring& name) {
    const UniqueRegistryKey key = openHardwareKey(set_, &element_);
    const LSTATUS status = RegSetValueExW(
        key.get(), L"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()),
        static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)));
    SetLastError(static_cast<DWORD>(status));
    check(status == ERROR_SUCCESS, "write PortName");
}

bool TestDevice::exists() const {
    const std::wstring path = L"SYSTEM\\CurrentControlSet\\Enum\\" + instanceId_;
    UniqueRegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, key.put()) == ERROR_SUCCESS;
}

} // namespace zorvan::test
