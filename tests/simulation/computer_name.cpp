#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

BOOL WINAPI getComputerName(COMPUTER_NAME_FORMAT format, LPWSTR buffer, LPDWORD size) {
    Call call("GetComputerNameExW", static_cast<DWORD>(format), *size);
    if (call.fails())
        return FALSE;
    const auto name = call->hostName.substr(0, call.bring(call->hostName.size()));
    if (*size <= name.size()) {
        *size = static_cast<DWORD>(name.size()) + 1;
        return Call::failed(ERROR_MORE_DATA);
    }
    *std::copy(name.begin(), name.end(), buffer) = L'\0';
    *size = static_cast<DWORD>(name.size());
    return TRUE;
}
SIMULATE(GetComputerNameExW, getComputerName);

} // namespace

} // namespace zorvan::simulation
