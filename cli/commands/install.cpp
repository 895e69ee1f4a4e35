// install, uninstall: the driver package, through the library's export, which needs neither COM nor registration.
#include "com/failure.h"
#include "com/names.h"
#include "com/registration.h"
#include "com/text.h"
#include "commands/command.h"
#include "output/console.h"

#include <fmt/core.h>

namespace portwright {
namespace {

using UniqueModule = zorvan::Unique<FreeLibrary>;

constexpr int kInstall = 0;
constexpr int kUninstall = 3;

struct Options {
    std::string library;
};

std::string libraryPath(const Options& options) {
    if (!options.library.empty())
        return fullPath(options.library);
    const auto registered = registeredLibrary();
    if (!registered)
        throw Failure(
            "the library is not registered, so where it is must be said", "name it: --library PATH\\zorvanlib.dll");
    return *registered;
}

HRESULT autoInstall(const std::string& path, int mode) {
    const UniqueModule library(LoadLibraryW(wide(path).c_str()));
    if (!library)
        throwLastError("load " + path, "name the library: --library PATH\\zorvanlib.dll");
    // GetProcAddress has one type for every function.
    const auto function = reinterpret_cast<HRESULT(WINAPI*)(UINT_PTR, int)>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "AutoInstallEx")));
    if (function == nullptr)
        throwLastError("find the driver installer in " + path, "this is not zorvanlib.dll");
    return function(0, mode);
}

void install(const Options& options) {
    const auto path = libraryPath(options);
    check(
        autoInstall(path, kInstall), "install the driver package beside " + path,
        "zorvan.inf must be one folder above the library, and DIFxAPI.dll next to it; only an administrator may "
        "install drivers");
}

void uninstall(const Options& options) {
    const auto path = libraryPath(options);
    const HRESULT result = autoInstall(path, kUninstall);
    check(result, "uninstall the driver package beside " + path, "only an administrator may uninstall drivers");
    if (result == S_FALSE)
        throw Failure(
            "the driver package is uninstalled in part: the rest needs a restart",
            "delete the ports (portwright delete --all), restart the computer and uninstall again");
}

void addOne(CLI::App& app, const char* name, const char* summary, void (*run)(const Options&)) {
    auto [line, options] = addCommand<Options>(
        app, name, summary,
        fmt::format(
            "  portwright {0}\n  portwright {0} --library \"C:\\Program Files\\zorvanlib\\bin\\zorvanlib.dll\"",
            name),
        run);
    line.text("--library", "FILE", options.library, "Where the library is, instead of where it is registered");
}

} // namespace

void addInstallCommands(CLI::App& app) {
    addOne(app, "install", "Install the driver package", install);
    addOne(app, "uninstall", "Uninstall the driver package; delete the ports before", uninstall);
}

} // namespace portwright
