#include "simulation/port_database.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

DWORD PortDatabase::claimNextFree() {
    DWORD number = 1;
    while (!claimed.insert(number).second)
        ++number;
    return number;
}

namespace {

struct OpenedDatabase : NoKernelObject {
    std::string description() const override { return "port database"; }
};

LONG WINAPI comDbOpen(HANDLE* database) {
    Call call("ComDBOpen");
    *database = INVALID_HANDLE_VALUE;
    if (call.failure())
        return static_cast<LONG>(*call.failure());
    *database = call.open(std::make_shared<OpenedDatabase>());
    return ERROR_SUCCESS;
}
SIMULATE_UNDECLARED(ComDBOpen, comDbOpen);

LONG WINAPI comDbClaimPort(HANDLE database, DWORD number, BOOL force, BOOL* forced) {
    Call call("ComDBClaimPort", number, force ? "force" : "no force");
    if (call.object<OpenedDatabase>(database) == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (call.failure())
        return static_cast<LONG>(*call.failure());
    const bool fresh = call->portDatabase.claimed.insert(number).second;
    if (!fresh && !force)
        return ERROR_SHARING_VIOLATION;
    if (forced != nullptr)
        *forced = fresh ? FALSE : TRUE;
    return ERROR_SUCCESS;
}
SIMULATE_UNDECLARED(ComDBClaimPort, comDbClaimPort);

LONG WINAPI comDbReleasePort(HANDLE database, DWORD number) {
    Call call("ComDBReleasePort", number);
    if (call.object<OpenedDatabase>(database) == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (call.failure())
        return static_cast<LONG>(*call.failure());
    return call->portDatabase.claimed.erase(number) == 0 ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
}
SIMULATE_UNDECLARED(ComDBReleasePort, comDbReleasePort);

LONG WINAPI comDbClose(HANDLE database) {
    Call call("ComDBClose");
    if (call.object<OpenedDatabase>(database) == nullptr)
        return ERROR_INVALID_PARAMETER;
    call.close(database);
    return static_cast<LONG>(call.failure().value_or(ERROR_SUCCESS));
}
SIMULATE_UNDECLARED(ComDBClose, comDbClose);

} // namespace

} // namespace zorvan::simulation
