#include "doctor/port_lists.h"

#include "base/guid.h"
#include "base/unique.h"
#include "com/failure.h"
#include "com/text.h"

#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>

namespace portwright::doctor {
namespace {

constexpr wchar_t kHardwareId[] = L"QELTRAVIRT\\QeltraZorvan3\0"; // the list that a device has ends with a second NUL
constexpr GUID kSerialPortInterface = zorvan::parseGuid("{86E0D1E0-8089-11D0-9CE4-08003E301F73}");

struct DeviceSetTraits {
    using Value = HDEVINFO;
    static Value invalid() { return INVALID_HANDLE_VALUE; }
    static void close(Value set) { SetupDiDestroyDeviceInfoList(set); }
};
using DeviceSet = zorvan::Unique<DeviceSetTraits>;

std::string portName(HDEVINFO set, SP_DEVINFO_DATA& device) {
    const HKEY key = SetupDiOpenDevRegKey(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    if (key == INVALID_HANDLE_VALUE)
        return {}; // without a key there is no name
    const zorvan::UniqueRegistryKey owned(key);
    wchar_t name[MAX_PATH]{};
    DWORD size = sizeof name;
    if (RegGetValueW(key, nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size) != ERROR_SUCCESS)
        return {};
    return utf8(name);
}

std::set<std::string> namesOf(const GUID& classId, DWORD flags, const char* asked) {
    const DeviceSet set(SetupDiGetClassDevsW(&classId, nullptr, nullptr, DIGCF_PRESENT | flags));
    if (!set)
        throwLastError(asked);
    std::set<std::string> names;
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD i = 0; SetupDiEnumDeviceInfo(set.get(), i, &device) != FALSE; ++i)
        names.insert(portName(set.get(), device));
    return names;
}

// A device that is only thought of: nothing is registered.
bool findDriver(HDEVINFO set) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    const bool prepared =
        SetupDiCreateDeviceInfoW(
            set, L"portwright", &GUID_DEVCLASS_PORTS, nullptr, nullptr, DICD_GENERATE_ID, &device) != FALSE &&
        SetupDiSetDeviceRegistryPropertyW(
            set, &device, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(kHardwareId), sizeof kHardwareId) !=
            FALSE &&
        SetupDiBuildDriverInfoList(set, &device, SPDIT_COMPATDRIVER) != FALSE;
    if (!prepared)
        throwLastError("look for the driver package");
    SP_DRVINFO_DATA_W driver{};
    driver.cbSize = sizeof driver;
    return SetupDiEnumDriverInfoW(set, &device, SPDIT_COMPATDRIVER, 0, &driver) != FALSE;
}

} // namespace

std::set<std::string> serialCommNames() {
    zorvan::UniqueRegistryKey key;
    const auto opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_READ, key.put());
    if (opened == ERROR_FILE_NOT_FOUND)
        return {}; // no serial port has been there yet
    if (opened != ERROR_SUCCESS)
        throwError(static_cast<DWORD>(opened), "read SERIALCOMM");
    std::set<std::string> names;
    for (DWORD i = 0;; ++i) {
        wchar_t device[MAX_PATH];
        DWORD length = MAX_PATH;
        wchar_t name[MAX_PATH]{};
        DWORD size = sizeof name - sizeof *name;
        if (RegEnumValueW(key.get(), i, device, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(name), &size) !=
            ERROR_SUCCESS)
            return names;
        names.insert(utf8(name));
    }
}

std::set<std::string> portsClassNames() {
    return namesOf(GUID_DEVCLASS_PORTS, 0, "list the devices of the class Ports");
}

std::set<std::string> interfaceClassNames() {
    return namesOf(kSerialPortInterface, DIGCF_DEVICEINTERFACE, "list the interfaces of serial ports");
}

DWORD tryToOpen(const std::string& name) {
    auto* const file = CreateFileW(
        wide(R"(\\.\)" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return GetLastError();
    CloseHandle(file);
    return ERROR_SUCCESS;
}

bool hasDriverPackage() {
    const DeviceSet set(SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_PORTS, nullptr));
    if (!set)
        throwLastError("look for the driver package");
    return findDriver(set.get());
}

} // namespace portwright::doctor
