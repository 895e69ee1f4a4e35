// The DLL under test, loaded over the current machine. Each load is a fresh one.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <string>

namespace zorvan::simulation {

// Throws std::runtime_error when the module has no such function.
FARPROC addressOf(HMODULE module, const char* name);

template <class Function>
Function* procedure(HMODULE module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(addressOf(module, name)));
}

class ShippedLibrary {
public:
    // Throws std::runtime_error when the DLL cannot be loaded.
    explicit ShippedLibrary(const std::wstring& path);
    ShippedLibrary(const ShippedLibrary&) = delete;
    ShippedLibrary& operator=(const ShippedLibrary&) = delete;
    ~ShippedLibrary();

    HRESULT getClassObject(REFCLSID clsid, REFIID iid, void** object) const {
        return call<REFCLSID, REFIID, void**>("DllGetClassObject", clsid, iid, object);
    }
    HRESULT canUnloadNow() const { return call("DllCanUnloadNow"); }
    HRESULT registerServer() const { return call("DllRegisterServer"); }
    HRESULT unregisterServer() const { return call("DllUnregisterServer"); }
    HRESULT install(bool install, const wchar_t* commandLine) const {
        return call<BOOL, PCWSTR>("DllInstall", install ? TRUE : FALSE, commandLine);
    }
    HRESULT autoInstallEx(int mode) const { return call<UINT_PTR, int>("AutoInstallEx", 0, mode); }

    // Whether the DLL is in the process, by whatever references.
    static bool isLoaded(const std::wstring& path);

private:
    template <class... Parameters>
    HRESULT call(const char* name, Parameters... arguments) const {
        return procedure<HRESULT WINAPI(Parameters...)>(module_, name)(arguments...);
    }

    HMODULE module_;
};

// The program's first argument, or zorvanlib.dll one folder above the program.
std::wstring shippedLibraryPath();

} // namespace zorvan::simulation
