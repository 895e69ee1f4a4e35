// Installs or uninstalls the driver package of an installed library, as a setup program does: through the library.
//
//   driver_setup.exe LIBRARY install|uninstall
//
// Ends with 0 for success, 1 when a restart of the system is needed for the rest, 2 for a failure.
#include "base/unique.h"

#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace {

struct ModuleTraits {
    using Value = HMODULE;
    static Value invalid() { return nullptr; }
    static void close(Value module) { FreeLibrary(module); }
};
using UniqueModule = zorvan::Unique<ModuleTraits>;

constexpr int kInstall = 0;
constexpr int kUninstall = 3;

enum ExitCode { kDone = 0, kRestartNeeded = 1, kFailed = 2 };

int failed(const wchar_t* what, unsigned long error) {
    std::fwprintf(stderr, L"driver_setup: %ls: error 0x%08lX\n", what, error);
    return kFailed;
}

int report(HRESULT status) {
    if (status == S_OK)
        return kDone;
    if (status != S_FALSE)
        return failed(L"AutoInstallEx", static_cast<unsigned long>(status));
    std::fputs("driver_setup: a restart is needed\n", stderr);
    return kRestartNeeded;
}

int autoInstall(const wchar_t* path, int mode) {
    // In full, so that a name without a folder is not looked for elsewhere.
    std::error_code error;
    const UniqueModule library(LoadLibraryW(std::filesystem::absolute(path, error).c_str()));
    if (!library)
        return failed(path, GetLastError());
    // GetProcAddress has one type for every function.
    const auto function = reinterpret_cast<HRESULT(WINAPI*)(UINT_PTR, int)>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "AutoInstallEx")));
    if (function == nullptr)
        return failed(path, GetLastError());
    return report(function(0, mode));
}

} // namespace

int wmain(int argumentCount, wchar_t** arguments) {
    const std::wstring_view action = argumentCount == 3 ? arguments[2] : L"";
    if (action == L"install")
        return autoInstall(arguments[1], kInstall);
    if (action == L"uninstall")
        return autoInstall(arguments[1], kUninstall);
    std::fputs("usage: driver_setup LIBRARY install|uninstall\n", stderr);
    return kFailed;
}
