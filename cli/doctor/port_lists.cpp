#include "doctor/port_lists.h"

#include "base/guid.h"
#include "com/failure.h"
#include "com/text.h"
#include "doctor/device_nodes.h"

#include <devguid.h>

namespace portwright::doctor {
namespace {

constexpr GUID kSerialPortInterface = zorvan::parseGuid("{86E0D1E0-8089-11D0-9CE4-08003E301F73}");

std::set<std::string> namesOf(const GUID& classId, DWORD flags) {
    const auto set = devices(&classId, DIGCF_PRESENT | flags);
    std::set<std::string> names;
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) { names.insert(portName(set, device)); });
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
            set, &device, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(kHardwareIds), sizeof kHardwareIds) !=
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
    return namesOf(GUID_DEVCLASS_PORTS, 0);
}

std::set<std::string> interfaceClassNames() {
    return namesOf(kSerialPortInterface, DIGCF_DEVICEINTERFACE);
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
    return findDriver(emptySet(&GUID_DEVCLASS_PORTS).get());
}

} // namespace portwright::doctor
