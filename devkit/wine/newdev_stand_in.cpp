// Stands in for newdev's DiInstallDevice, which Wine 8 only names: calling it ends the program. Wine's setupapi has
// every step of an installation; this puts them in the order in which Windows takes them.
#include "newdev_stand_in.h"

#include "driver_choice.h"
#include "failed_call.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace zorvan::devkit {

namespace {

constexpr DWORD kShowSearchUi = 0x1;
constexpr DWORD kNoFinishInstallUi = 0x2;
constexpr DWORD kInstallNullDriver = 0x4;
constexpr DWORD kInstallCopyInfDrivers = 0x8;
constexpr DWORD kKnownFlags = kShowSearchUi | kNoFinishInstallUi | kInstallNullDriver | kInstallCopyInfDrivers;

// Windows takes longer to install a device than those who are told of it take to look at it. Without this time,
// whoever waits for the device after its installation looks for it a moment too early, and sleeps half a second until
// the next look.
constexpr DWORD kAftermath = 100; // milliseconds

// DIF_INSTALLDEVICE copies the driver's files too, so that DIF_INSTALLDEVICEFILES is left out.
constexpr DI_FUNCTION kSteps[] = {
    DIF_SELECTBESTCOMPATDRV, DIF_ALLOW_INSTALL, DIF_REGISTER_COINSTALLERS, DIF_INSTALLINTERFACES, DIF_INSTALLDEVICE};

// An installer with nothing to say about a step for which there is no default action lets it pass.
bool takeStep(DI_FUNCTION step, HDEVINFO set, PSP_DEVINFO_DATA device) {
    return SetupDiCallClassInstaller(step, set, device) || GetLastError() == ERROR_DI_DO_DEFAULT;
}

bool needsReboot(HDEVINFO set, PSP_DEVINFO_DATA device) {
    SP_DEVINSTALL_PARAMS_W params{};
    params.cbSize = sizeof params;
    return SetupDiGetDeviceInstallParamsW(set, device, &params) &&
           (params.Flags & (DI_NEEDREBOOT | DI_NEEDRESTART)) != 0;
}

BOOL install(HDEVINFO set, PSP_DEVINFO_DATA device, PBOOL needReboot) {
    DriverChoice choice(set, device);
    if (!choice.buildList())
        return FALSE;
    const bool installed = std::all_of(
        std::begin(kSteps), std::end(kSteps), [&](DI_FUNCTION step) { return takeStep(step, set, device); });
    const DWORD error = GetLastError();
    // A failed installation may need a restart too.
    if (needReboot)
        *needReboot = needsReboot(set, device);
    if (installed) {
        choice.remember();
        Sleep(kAftermath);
    }
    SetLastError(error);
    return installed;
}

} // namespace

// No window is ever shown: not for the search that kShowSearchUi asks for, and not for a restart.
BOOL WINAPI
installDevice(HWND, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL needReboot) {
    if (needReboot)
        *needReboot = FALSE;
    if (flags & ~kKnownFlags)
        return fail(ERROR_INVALID_FLAGS);
    if (driver || (flags & kInstallNullDriver))
        return fail(ERROR_CALL_NOT_IMPLEMENTED);
    try {
        return install(set, device, needReboot);
    } catch (const std::bad_alloc&) {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

} // namespace zorvan::devkit
