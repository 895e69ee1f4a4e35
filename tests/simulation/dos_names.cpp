#include "simulation/dos_names.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

DWORD WINAPI queryDosDevice(LPCWSTR name, LPWSTR buffer, DWORD length) {
    Call call("QueryDosDeviceW", name, length);
    if (call.fails())
        return 0;
    const auto found = call->dosNames.targets.find(name);
    if (found == call->dosNames.targets.end()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    const std::wstring list = found->second + std::wstring(2, L'\0'); // a list of one
    if (list.size() > length) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(list.begin(), list.end(), buffer);
    return static_cast<DWORD>(list.size());
}
SIMULATE(QueryDosDeviceW, queryDosDevice);

BOOL WINAPI defineDosDevice(DWORD flags, LPCWSTR name, LPCWSTR target) {
    Call call("DefineDosDeviceW", flags, name, target);
    if (call.fails())
        return FALSE;
    if (flags != DDD_REMOVE_DEFINITION || target != nullptr) {
        call.reportMisuse("the simulation removes whole definitions only");
        return Call::failed(ERROR_INVALID_PARAMETER);
    }
    return call->dosNames.targets.erase(name) != 0 ? TRUE : Call::failed(ERROR_FILE_NOT_FOUND);
}
SIMULATE(DefineDosDeviceW, defineDosDevice);

} // namespace

} // namespace zorvan::simulation
