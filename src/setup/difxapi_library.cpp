#include "setup/difxapi_library.h"

#include "base/hresult_error.h"

#include <bit>

namespace zorvan::setup {

namespace {

constexpr INSTALLERINFO_W kInstaller{
    L"Qeltra Software.Portwright Free.{0EB3618F-360F-40DD-ACC8-15B57A757D8E}",
    L"Qeltra Software Portwright Free Virtual Serial Port Driver",
    L"Qeltra Software Portwright Free",
    L"Qeltra Software Ltd.",
};

UniqueModule load(const std::wstring& path) {
    UniqueModule library(LoadLibraryW(path.c_str()));
    if (!library)
        throwLastError();
    return library;
}

template <class Function>
Function* entryPoint(const UniqueModule& library, const char* name) {
    return std::bit_cast<Function*>(GetProcAddress(library.get(), name));
}

} // namespace

// DriverPackagePreinstallW is not asked for: oddity 29 of docs/architecture.md.
DifxApiLibrary::DifxApiLibrary(const std::wstring& path)
    : library_(load(path)), install_(entryPoint<decltype(DriverPackageInstallW)>(library_, "DriverPackageInstallW")),
      preinstall_(entryPoint<decltype(DriverPackagePreinstallW)>(library_, "DriverPackagePreinstallW")),
      uninstall_(entryPoint<decltype(DriverPackageUninstallW)>(library_, "DriverPackageUninstallW")) {
    if (install_ == nullptr || uninstall_ == nullptr)
        throw HResultError(E_POINTER);
}

DWORD DifxApiLibrary::preinstall(const std::wstring& inf) const {
    if (preinstall_ == nullptr)
        throw HResultError(E_POINTER);
    return preinstall_(inf.c_str(), DRIVER_PACKAGE_REPAIR);
}

DWORD DifxApiLibrary::uninstall(const std::wstring& inf, bool& restartNeeded) const {
    BOOL needReboot = FALSE;
    const DWORD result = uninstall_(inf.c_str(), 0, &kInstaller, &needReboot);
    restartNeeded = needReboot != FALSE;
    return result;
}

} // namespace zorvan::setup
