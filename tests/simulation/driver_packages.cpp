// The Driver Install Frameworks, and the system folder that drivers are in. The functions succeed unless a test lets
// them fail; what they are asked for is in the list of calls.
#include "setup/difxapi.h"
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

SIMULATE(OrError<DWORD>, DriverPackagePreinstallW, PCWSTR inf, DWORD flags) {}

SIMULATE(OrError<DWORD>, DriverPackageInstallW, PCWSTR inf, DWORD flags, const INSTALLERINFO_W*, BOOL*) {}

SIMULATE_SURE(
    OrError<DWORD>, DriverPackageUninstallW, PCWSTR inf, DWORD flags, const INSTALLERINFO_W* installer,
    BOOL* needReboot) {
    for (const auto* text :
         {installer->pApplicationId, installer->pDisplayName, installer->pProductName, installer->pMfgName})
        call->driverPackages.installer += std::wstring(text) + L"|";
    call.misuseIf(*needReboot != FALSE, "the answer was not cleared");
    *needReboot = call->driverPackages.restartNeeded;
    call.failIfTold();
}

// A buffer that is too small is left alone.
SIMULATE(UINT, GetSystemDirectoryW, LPWSTR buffer, UINT size) {
    const std::wstring& folder = call->driverPackages.systemFolder;
    if (folder.size() >= size)
        return static_cast<UINT>(folder.size()) + 1;
    *std::copy(folder.begin(), folder.end(), buffer) = 0;
    return static_cast<UINT>(folder.size());
}

SIMULATE(BOOL, DeleteFileW, LPCWSTR path) {}

} // namespace

} // namespace zorvan::simulation
