#include "doctor/leftovers.h"

#include "base/unique.h"

#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>

#include <cwchar>
#include <set>
#include <system_error>

// Of msports.h, which mingw-w64 lacks.
extern "C" {
DECLSPEC_IMPORT LONG WINAPI ComDBOpen(HANDLE* database);
DECLSPEC_IMPORT LONG WINAPI ComDBClose(HANDLE database);
DECLSPEC_IMPORT LONG WINAPI ComDBReleasePort(HANDLE database, DWORD number);
DECLSPEC_IMPORT LONG WINAPI
ComDBGetCurrentPortUsage(HANDLE database, BYTE* buffer, DWORD size, ULONG reportType, DWORD* portCount);
}

namespace zorvan::leftovers {

namespace {

constexpr wchar_t kHardwareId[] = L"QELTRAVIRT\\QeltraZorvan3";
constexpr std::size_t kNumberPosition = 3; // behind "COM", or what stands in its place
constexpr ULONG kReportBits = 0;           // CDB_REPORT_BITS

struct DeviceSetTraits {
    using Value = HDEVINFO;
    static Value invalid() { return INVALID_HANDLE_VALUE; }
    static void close(Value set) { SetupDiDestroyDeviceInfoList(set); }
};
using DeviceSet = Unique<DeviceSetTraits>;

struct DatabaseTraits {
    using Value = HANDLE;
    static Value invalid() { return INVALID_HANDLE_VALUE; }
    static void close(Value database) { ComDBClose(database); }
};
using Database = Unique<DatabaseTraits>;

void throwIfFailed(DWORD error, const char* what) {
    if (error != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

void throwUnless(BOOL succeeded, const char* what) {
    if (succeeded == FALSE)
        throwIfFailed(GetLastError(), what);
}

// Present or not.
DeviceSet devices(const GUID* setupClass) {
    DeviceSet set(SetupDiGetClassDevsW(setupClass, nullptr, nullptr, setupClass == nullptr ? DIGCF_ALLCLASSES : 0));
    throwUnless(static_cast<bool>(set), "SetupDiGetClassDevs");
    return set;
}

template <class Visit>
void forEachDevice(const DeviceSet& set, Visit&& visit) {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index)
        visit(device);
}

// The first text of a property; empty when the device has none.
std::wstring property(const DeviceSet& set, SP_DEVINFO_DATA& device, DWORD property) {
    wchar_t text[512]{};
    SetupDiGetDeviceRegistryPropertyW(
        set.get(), &device, property, nullptr, reinterpret_cast<BYTE*>(text), sizeof text - 2 * sizeof *text,
        nullptr);
    return text;
}

std::wstring instanceId(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    wchar_t id[MAX_DEVICE_ID_LEN]{};
    throwUnless(
        SetupDiGetDeviceInstanceIdW(set.get(), &device, id, MAX_DEVICE_ID_LEN, nullptr),
        "SetupDiGetDeviceInstanceId");
    return id;
}

std::wstring portName(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const HKEY key = SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    const UniqueRegistryKey owned(key == INVALID_HANDLE_VALUE ? nullptr : key);
    wchar_t name[260]{};
    DWORD size = sizeof name;
    const auto status = RegGetValueW(owned.get(), nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name, &size);
    return owned && status == ERROR_SUCCESS ? name : L"";
}

// As the library takes a number out of a name; 0 when there is none.
DWORD portNumber(const std::wstring& name) {
    const long number = name.size() > kNumberPosition ? std::wcstol(name.c_str() + kNumberPosition, nullptr, 10) : 0;
    return number > 0 ? static_cast<DWORD>(number) : 0;
}

bool isOfPort(const std::wstring& hardwareId) {
    return hardwareId.empty() || CompareStringOrdinal(hardwareId.c_str(), -1, kHardwareId, -1, TRUE) == CSTR_EQUAL;
}

struct ServiceTraits {
    using Value = SC_HANDLE;
    static Value invalid() { return nullptr; }
    static void close(Value service) { CloseServiceHandle(service); }
};
using UniqueService = Unique<ServiceTraits>;

Database openDatabase() {
    Database database;
    throwIfFailed(static_cast<DWORD>(ComDBOpen(database.put())), "ComDBOpen");
    return database;
}

std::set<DWORD> takenNumbers() {
    const auto database = openDatabase();
    DWORD count = 0;
    throwIfFailed(
        static_cast<DWORD>(ComDBGetCurrentPortUsage(database.get(), nullptr, 0, kReportBits, &count)),
        "ComDBGetCurrentPortUsage");
    std::vector<BYTE> bits(count / 8);
    throwIfFailed(
        static_cast<DWORD>(ComDBGetCurrentPortUsage(
            database.get(), bits.data(), static_cast<DWORD>(bits.size()), kReportBits, &count)),
        "ComDBGetCurrentPortUsage");
    std::set<DWORD> numbers;
    for (DWORD number = 1; number <= bits.size() * 8; ++number)
        if ((bits[(number - 1) / 8] >> ((number - 1) % 8) & 1) != 0)
            numbers.insert(number);
    return numbers;
}

} // namespace

std::vector<Node> findNodes() {
    std::vector<Node> nodes;
    const auto set = devices(&GUID_DEVCLASS_PORTS);
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        if (isOfPort(property(set, device, SPDRP_HARDWAREID)))
            nodes.push_back(
                {instanceId(set, device), portName(set, device), !property(set, device, SPDRP_SERVICE).empty()});
    });
    return nodes;
}

void removeNode(const Node& node) {
    const DeviceSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    throwUnless(static_cast<bool>(set), "SetupDiCreateDeviceInfoList");
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    throwUnless(
        SetupDiOpenDeviceInfoW(set.get(), node.instanceId.c_str(), nullptr, 0, &device), "SetupDiOpenDeviceInfo");
    throwUnless(SetupDiCallClassInstaller(DIF_REMOVE, set.get(), &device), "DIF_REMOVE");
}

// Modems and other makers' ports have numbers, too: every device counts.
std::vector<DWORD> findNumbers() {
    auto numbers = takenNumbers();
    const auto set = devices(nullptr);
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) { numbers.erase(portNumber(portName(set, device))); });
    return {numbers.begin(), numbers.end()};
}

void releaseNumber(DWORD number) {
    throwIfFailed(static_cast<DWORD>(ComDBReleasePort(openDatabase().get(), number)), "ComDBReleasePort");
}

// A client that is ended between the two halves of a removal leaves a port without a node, which opens and which
// nothing lists. Wine's drivers look for nodes that are gone when they are told to; this is how setupapi tells them.
void endPortsWithoutNode() {
    constexpr DWORD kEnumerateRootDevices = 128;
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const UniqueService driver(
        manager ? OpenServiceW(manager.get(), L"zorvan", SERVICE_USER_DEFINED_CONTROL) : nullptr);
    SERVICE_STATUS status{};
    if (driver) // a driver that does not run, or is not installed, has no ports
        ControlService(driver.get(), kEnumerateRootDevices, &status);
}

} // namespace zorvan::leftovers
