// The DLL under test, loaded over the current machine. Each load is a fresh one.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <string>

namespace zorvan::simulation {

class ShippedLibrary {
public:
    // Throws std::runtime_error when the DLL cannot be loaded.
    explicit ShippedLibrary(const std::wstring& path);
    ShippedLibrary(const ShippedLibrary&) = delete;
    ShippedLibrary& operator=(const ShippedLibrary&) = delete;
    ~ShippedLibrary();

    HRESULT getClassObject(REFCLSID clsid, REFIID iid, void** object) const;
    HRESULT canUnloadNow() const;
    HRESULT registerServer() const;
    HRESULT unregisterServer() const;
    HRESULT install(bool install, const wchar_t* commandLine) const;
    HRESULT autoInstallEx(int mode) const;

    // Whether the DLL is in the process, by whatever references.
    static bool isLoaded(const std::wstring& path);

private:
    HMODULE module_;
};

// The program's first argument, or zorvanlib.dll one folder above the program.
std::wstring shippedLibraryPath();

} // namespace zorvan::simulation
