// Names: of the computer, of devices for programs, and of ports in the COM port database.
#include "pnp/port_database.h"
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

DWORD PortNumbers::claimNextFree() {
    DWORD number = 1;
    while (!claimed.insert(number).second)
        ++number;
    return number;
}

namespace {

SIMULATE(BOOL, GetComputerNameExW, COMPUTER_NAME_FORMAT format, LPWSTR buffer, LPDWORD size) {
    const auto name = call->hostName.substr(0, call.bring(call->hostName.size()));
    const bool fits = name.size() < *size;
    *size = static_cast<DWORD>(fits ? name.size() : name.size() + 1);
    failIf(!fits, ERROR_MORE_DATA);
    std::copy_n(name.c_str(), name.size() + 1, buffer);
}

SIMULATE(DWORD, QueryDosDeviceW, LPCWSTR name, LPWSTR buffer, DWORD length) {
    const auto found = call->dosNames.targets.find(name);
    failIf(found == call->dosNames.targets.end(), ERROR_FILE_NOT_FOUND);
    const std::wstring list = found->second + std::wstring(2, L'\0'); // a list of one
    failIf(list.size() > length, ERROR_INSUFFICIENT_BUFFER);
    std::copy(list.begin(), list.end(), buffer);
    return static_cast<DWORD>(list.size());
}

SIMULATE(BOOL, DefineDosDeviceW, DWORD flags, LPCWSTR name, LPCWSTR target) {
    call.misuseIf(
        flags != DDD_REMOVE_DEFINITION || target != nullptr, "the simulation removes whole definitions only");
    failIf(call->dosNames.targets.erase(name) == 0, ERROR_FILE_NOT_FOUND);
}

struct OpenedDatabase : NoKernelObject {
    OpenedDatabase() : NoKernelObject("port database") {}
};

SIMULATE_SURE(OrError<LONG>, ComDBOpen, HANDLE* database) {
    *database = INVALID_HANDLE_VALUE;
    call.failIfTold();
    *database = call.open(std::make_shared<OpenedDatabase>());
}

SIMULATE(OrError<LONG>, ComDBClaimPort, HANDLE database, DWORD number, BOOL force, BOOL*) {
    call.object<OpenedDatabase>(database);
    const bool fresh = call->portDatabase.claimed.insert(number).second;
    failIf(!fresh && !force, ERROR_SHARING_VIOLATION);
}

SIMULATE(OrError<LONG>, ComDBReleasePort, HANDLE database, DWORD number) {
    call.object<OpenedDatabase>(database);
    failIf(call->portDatabase.claimed.erase(number) == 0, ERROR_INVALID_PARAMETER);
}

SIMULATE_SURE(OrError<LONG>, ComDBClose, HANDLE database) {
    call.close<OpenedDatabase>(database);
}

} // namespace

} // namespace zorvan::simulation
