// The functions succeed unless a test lets them fail; what they are asked for is in the list of calls.
#include "simulation/driver_packages.h"

#include "setup/difxapi.h"
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

DWORD WINAPI preinstallPackage(PCWSTR inf, DWORD flags) {
    Call call("DriverPackagePreinstallW", inf, Hex{flags});
    return call.failure().value_or(ERROR_SUCCESS);
}
SIMULATE(DriverPackagePreinstallW, preinstallPackage);

DWORD WINAPI installPackage(PCWSTR inf, DWORD flags, const INSTALLERINFO_W*, BOOL*) {
    Call call("DriverPackageInstallW", inf, Hex{flags});
    return call.failure().value_or(ERROR_SUCCESS);
}
SIMULATE(DriverPackageInstallW, installPackage);

DWORD WINAPI uninstallPackage(PCWSTR inf, DWORD flags, const INSTALLERINFO_W* installer, BOOL* needReboot) {
    Call call(
        "DriverPackageUninstallW", inf, Hex{flags}, installer->pApplicationId, installer->pDisplayName,
        installer->pProductName, installer->pMfgName);
    if (*needReboot != FALSE)
        call.reportMisuse("the answer was not cleared");
    *needReboot = call->driverPackages.restartNeeded ? TRUE : FALSE;
    return call.failure().value_or(ERROR_SUCCESS);
}
SIMULATE(DriverPackageUninstallW, uninstallPackage);

// A buffer that is too small is left alone.
UINT WINAPI getSystemDirectory(LPWSTR buffer, UINT size) {
    Call call("GetSystemDirectoryW", DWORD{size});
    if (call.fails())
        return 0;
    const std::wstring& folder = call->driverPackages.systemFolder;
    if (folder.size() >= size)
        return static_cast<UINT>(folder.size()) + 1;
    *std::copy(folder.begin(), folder.end(), buffer) = 0;
    return static_cast<UINT>(folder.size());
}
SIMULATE(GetSystemDirectoryW, getSystemDirectory);

BOOL WINAPI deleteFile(LPCWSTR path) {
    Call call("DeleteFileW", path);
    return !call.fails();
}
SIMULATE(DeleteFileW, deleteFile);

} // namespace

} // namespace zorvan::simulation
