// The Driver Install Frameworks library, as Windows documents it; mingw-w64 has no header of it.
#pragma once

#include <windows.h>

constexpr DWORD DRIVER_PACKAGE_REPAIR = 0x00000001;
constexpr DWORD DRIVER_PACKAGE_SILENT = 0x00000002;
constexpr DWORD DRIVER_PACKAGE_FORCE = 0x00000004;
constexpr DWORD DRIVER_PACKAGE_ONLY_IF_DEVICE_PRESENT = 0x00000008;
constexpr DWORD DRIVER_PACKAGE_LEGACY_MODE = 0x00000010;
constexpr DWORD DRIVER_PACKAGE_DELETE_FILES = 0x00000020;

constexpr DWORD ERROR_DRIVER_PACKAGE_NOT_IN_STORE = 0xE0000302;

struct INSTALLERINFO_W {
    PCWSTR pApplicationId;
    PCWSTR pDisplayName;
    PCWSTR pProductName;
    PCWSTR pMfgName;
};

// Each returns an error code of Windows or of device installation.
extern "C" {
DWORD WINAPI DriverPackageInstallW(PCWSTR inf, DWORD flags, const INSTALLERINFO_W* installer, BOOL* needReboot);
DWORD WINAPI DriverPackagePreinstallW(PCWSTR inf, DWORD flags);
DWORD WINAPI DriverPackageUninstallW(PCWSTR inf, DWORD flags, const INSTALLERINFO_W* installer, BOOL* needReboot);
}
