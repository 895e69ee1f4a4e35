#include "doctor/leftovers.h"

#include "com/failure.h"
#include "com/port.h"
#include "com/text.h"
#include "doctor/device_nodes.h"

#include <devguid.h>

#include <algorithm>
#include <iterator>
#include <set>

// Of msports.h, which mingw-w64 lacks.
extern "C" {
DECLSPEC_IMPORT LONG WINAPI ComDBOpen(HANDLE* database);
DECLSPEC_IMPORT LONG WINAPI ComDBClose(HANDLE database);
DECLSPEC_IMPORT LONG WINAPI ComDBReleasePort(HANDLE database, DWORD number);
DECLSPEC_IMPORT LONG WINAPI
ComDBGetCurrentPortUsage(HANDLE database, BYTE* buffer, DWORD size, ULONG reportType, DWORD* portCount);
}

namespace portwright::doctor {
namespace {

constexpr ULONG kReportBits = 0; // CDB_REPORT_BITS
constexpr char kReadDatabase[] = "read the COM port database";

using Database = zorvan::Unique<ComDBClose, -1>;

void throwIfFailed(LONG error, const char* asked) {
    if (error != ERROR_SUCCESS)
        throwError(static_cast<DWORD>(error), asked);
}

// The library gives a new node its hardware ID before anything else.
bool isEmpty(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    constexpr DWORD kProperties[] = {SPDRP_HARDWAREID, SPDRP_DEVICEDESC, SPDRP_SERVICE, SPDRP_DRIVER};
    return portName(set, device).empty() &&
           std::all_of(std::begin(kProperties), std::end(kProperties), [&](DWORD id) {
               return property(set, device, id).empty();
           });
}

// Other makers' ports have another hardware ID. One that they have only begun, and given nothing yet, cannot be told
// from ours: nobody loses anything with it.
bool isOfPort(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const auto hardwareId = property(set, device, SPDRP_HARDWAREID);
    if (CompareStringOrdinal(hardwareId.c_str(), -1, kHardwareIds, -1, TRUE) == CSTR_EQUAL)
        return true;
    return instanceId(set, device).starts_with(R"(ROOT\PORTS\)") && isEmpty(set, device);
}

using UniqueService = zorvan::Unique<CloseServiceHandle>;

Database openDatabase() {
    Database database;
    throwIfFailed(ComDBOpen(database.put()), kReadDatabase);
    return database;
}

std::set<DWORD> takenNumbers() {
    const auto database = openDatabase();
    DWORD count = 0;
    throwIfFailed(ComDBGetCurrentPortUsage(database.get(), nullptr, 0, kReportBits, &count), kReadDatabase);
    std::vector<BYTE> bits(count / 8);
    throwIfFailed(
        ComDBGetCurrentPortUsage(database.get(), bits.data(), static_cast<DWORD>(bits.size()), kReportBits, &count),
        kReadDatabase);
    std::set<DWORD> numbers;
    for (DWORD number = 1; number <= bits.size() * 8; ++number)
        if ((bits[(number - 1) / 8] >> ((number - 1) % 8) & 1) != 0)
            numbers.insert(number);
    return numbers;
}

} // namespace

std::vector<Node> findNodes() {
    std::vector<Node> nodes;
    const auto set = devices(&GUID_DEVCLASS_PORTS, 0);
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        if (isOfPort(set, device))
            nodes.push_back(
                {instanceId(set, device), portName(set, device), !property(set, device, SPDRP_SERVICE).empty()});
    });
    return nodes;
}

void removeNode(const Node& node) {
    const auto set = emptySet(nullptr);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (SetupDiOpenDeviceInfoW(set.get(), wide(node.instanceId).c_str(), nullptr, 0, &device) == FALSE ||
        SetupDiCallClassInstaller(DIF_REMOVE, set.get(), &device) == FALSE)
        throwLastError("remove the device node " + node.instanceId);
}

// Modems and other makers' ports have numbers, too: every device counts.
std::vector<DWORD> findNumbers() {
    auto numbers = takenNumbers();
    const auto set = devices(nullptr, DIGCF_ALLCLASSES);
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) { numbers.erase(portNumber(portName(set, device))); });
    return {numbers.begin(), numbers.end()};
}

void releaseNumber(DWORD number) {
    throwIfFailed(ComDBReleasePort(openDatabase().get(), number), "release a number in the COM port database");
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

} // namespace portwright::doctor
