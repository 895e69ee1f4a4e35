#include "driver_process.h"

#include "device_node.h"

#include <winternl.h>

#include <system_error>

namespace zorvan::test {
namespace {

constexpr DWORD kPatience = 20'000; // milliseconds

void check(bool succeeded, const char* what) {
    if (!succeeded)
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

// The one that started the port's host process.
DWORD driverProcessId(const ControlClient& port) {
    const UniqueHandle host(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, port.hostProcessId()));
    check(static_cast<bool>(host), "OpenProcess of the host process");
    PROCESS_BASIC_INFORMATION information{};
    check(
        NtQueryInformationProcess(host.get(), ProcessBasicInformation, &information, sizeof information, nullptr) >=
            0,
        "NtQueryInformationProcess");
    return static_cast<DWORD>(information.InheritedFromUniqueProcessId);
}

} // namespace

// The system starts a driver that is not running when one of its devices is installed, and gives it all of them.
void restartDriver(const ControlClient& port) {
    const UniqueHandle driver(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, driverProcessId(port)));
    check(static_cast<bool>(driver), "OpenProcess of the driver's process");
    check(TerminateProcess(driver.get(), 1), "TerminateProcess of the driver's process");
    check(WaitForSingleObject(driver.get(), kPatience) == WAIT_OBJECT_0, "WaitForSingleObject");

    const DeviceNode starter(99u);
    const auto deadline = GetTickCount64() + kPatience;
    while (port.query(protocol::Query::Mode).error != ERROR_SUCCESS && GetTickCount64() < deadline)
        Sleep(50);
}

} // namespace zorvan::test
