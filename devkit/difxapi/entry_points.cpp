// The entry points. Those that nobody needs here refuse to work; a log callback is taken and never called.
#include "driver_package.h"
#include "driver_store.h"
#include "driver_use.h"
#include "setup/difxapi.h"
#include "windows_error.h"

#include <new>

namespace {

using namespace zorvan::devkit;

constexpr DWORD kPreinstallFlags = DRIVER_PACKAGE_REPAIR | DRIVER_PACKAGE_SILENT | DRIVER_PACKAGE_FORCE |
                                   DRIVER_PACKAGE_ONLY_IF_DEVICE_PRESENT | DRIVER_PACKAGE_LEGACY_MODE;
constexpr DWORD kUninstallFlags = DRIVER_PACKAGE_SILENT | DRIVER_PACKAGE_FORCE | DRIVER_PACKAGE_DELETE_FILES;

void check(PCWSTR inf, DWORD flags, DWORD knownFlags) {
    if (inf == nullptr)
        throwError(ERROR_INVALID_PARAMETER, "INF");
    if ((flags & ~knownFlags) != 0)
        throwError(ERROR_INVALID_FLAGS, "flags");
}

void preinstall(PCWSTR inf, DWORD flags) {
    check(inf, flags, kPreinstallFlags);
    const DriverPackage package = readDriverPackage(inf);
    if (driverStore::contains(package) && (flags & DRIVER_PACKAGE_REPAIR) == 0)
        throwError(ERROR_ALREADY_EXISTS, "driver store");
    driverStore::add(package);
}

// Devices that have the driver keep it: they go on until they are removed, and uninstalling once more then takes out
// what runs them. Otherwise that goes at once, files included, which Windows leaves behind.
void uninstall(PCWSTR inf, DWORD flags, BOOL* needReboot) {
    check(inf, flags, kUninstallFlags);
    if (needReboot == nullptr)
        throwError(ERROR_INVALID_PARAMETER, "needReboot");
    *needReboot = FALSE;
    const DriverPackage package = readDriverPackage(inf);
    const bool inStore = driverStore::contains(package);
    if (inStore)
        driverStore::remove(package);
    *needReboot = driverUse::hasDevices(package) || driverUse::remove(package);
    if (!inStore)
        throwError(ERROR_DRIVER_PACKAGE_NOT_IN_STORE, "driver store");
}

template <class Action>
DWORD errorOf(Action&& action) {
    try {
        action();
        return ERROR_SUCCESS;
    } catch (const std::system_error& error) {
        return static_cast<DWORD>(error.code().value());
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace

extern "C" {

DWORD WINAPI DriverPackagePreinstallW(PCWSTR inf, DWORD flags) {
    return errorOf([&] { preinstall(inf, flags); });
}

DWORD WINAPI DriverPackageUninstallW(PCWSTR inf, DWORD flags, const INSTALLERINFO_W*, BOOL* needReboot) {
    return errorOf([&] { uninstall(inf, flags, needReboot); });
}

DWORD WINAPI DriverPackageInstallW(PCWSTR, DWORD, const INSTALLERINFO_W*, BOOL*) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

DWORD WINAPI refuseInstall(const void*, DWORD, const void*, BOOL*) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

DWORD WINAPI refusePreinstall(const void*, DWORD) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

DWORD WINAPI refuseGetPath(const void*, void*, DWORD*) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}

void WINAPI ignoreLogCallback(void*, void*) {}
}
