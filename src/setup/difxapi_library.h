// DIFxAPI.dll, loaded for one use.
#pragma once

#include "base/unique.h"
#include "setup/difxapi.h"

#include <string>

namespace zorvan::setup {

using UniqueModule = Unique<FreeLibrary>;

class DifxApiLibrary {
public:
    // Throws when the library cannot be loaded or lacks an entry point that is asked for.
    explicit DifxApiLibrary(const std::wstring& path);

    // Both return what the library does; the first throws when the library cannot install.
    DWORD preinstall(const std::wstring& inf) const;
    DWORD uninstall(const std::wstring& inf, bool& restartNeeded) const;

private:
    UniqueModule library_;
    decltype(&DriverPackageInstallW) install_;       // never called: oddity 29 of docs/architecture.md
    decltype(&DriverPackagePreinstallW) preinstall_; // null: only removals work
    decltype(&DriverPackageUninstallW) uninstall_;
};

} // namespace zorvan::setup
