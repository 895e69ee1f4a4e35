#include "setup/auto_install.h"

#include "base/hresult_error.h"
#include "setup/difxapi_library.h"
#include "setup/package_paths.h"

#include <setupapi.h>

namespace zorvan::setup {

namespace {

enum Mode { kInstall = 0, kDoNothing = 1, kReinstall = 2 }; // every other number uninstalls

constexpr const wchar_t* kDriverBinaries[] = {L"drivers\\umdf\\zorvan32.dll", L"drivers\\umdf\\zorvan64.dll"};

// Oddity 30 of docs/architecture.md. Whether a file was there does not matter, nor whether it could be deleted.
void deleteDriverBinaries() {
    wchar_t folder[MAX_PATH];
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return;
    for (const wchar_t* binary : kDriverBinaries)
        DeleteFileW((std::wstring(folder, length) + binary).c_str());
}

DWORD uninstall(const DifxApiLibrary& difxApi, const std::wstring& inf, bool& restartNeeded) {
    DWORD result = difxApi.uninstall(inf, restartNeeded);
    if (result == ERROR_DRIVER_PACKAGE_NOT_IN_STORE)
        result = ERROR_SUCCESS;
    if (result == ERROR_SUCCESS)
        deleteDriverBinaries();
    return result;
}

HRESULT statusOf(DWORD result, bool restartNeeded) {
    if (result == ERROR_SUCCESS || result == ERROR_NO_SUCH_DEVINST)
        return restartNeeded ? S_FALSE : S_OK;
    return hresultFromWin32(result);
}

} // namespace

HRESULT autoInstall(int mode) {
    if (mode == kDoNothing)
        return S_OK;
    const PackagePaths paths = packagePaths();
    const DifxApiLibrary difxApi(paths.difxApi);
    if (mode == kInstall || mode == kReinstall)
        return statusOf(difxApi.preinstall(paths.inf), false);
    bool restartNeeded = false;
    const DWORD result = uninstall(difxApi, paths.inf, restartNeeded);
    return statusOf(result, restartNeeded);
}

} // namespace zorvan::setup
