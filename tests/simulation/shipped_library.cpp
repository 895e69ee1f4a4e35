#include "simulation/shipped_library.h"

#include "runner/runner.h"
#include "simulation/import_table.h"

#include <winternl.h>

#include <stdexcept>

namespace zorvan::simulation {

namespace {

// The loader's notifications, which no header of mingw-w64 declares. A module is announced when its imports are there
// and before any of its code runs, static constructors included.
struct ModuleNotification {
    ULONG flags;
    const UNICODE_STRING* fullName;
    const UNICODE_STRING* baseName;
    void* base;
    ULONG size;
};
constexpr ULONG kLoaded = 1;
using NotificationCallback = void(CALLBACK*)(ULONG reason, const ModuleNotification* module, void* context);
using Register = NTSTATUS(NTAPI*)(ULONG flags, NotificationCallback callback, void* context, void** cookie);
using Unregister = NTSTATUS(NTAPI*)(void* cookie);

template <class Function>
Function function(HMODULE module, const char* name) {
    auto* address = reinterpret_cast<void*>(GetProcAddress(module, name));
    if (address == nullptr)
        throw std::runtime_error(std::string("there is no function ") + name);
    return reinterpret_cast<Function>(address);
}

std::wstring fileName(const std::wstring& path) {
    return path.substr(path.find_last_of(L'\\') + 1);
}

void CALLBACK onModule(ULONG reason, const ModuleNotification* module, void* context) {
    const auto& awaited = *static_cast<const std::wstring*>(context);
    const std::wstring name(module->baseName->Buffer, module->baseName->Length / sizeof(wchar_t));
    if (reason == kLoaded && _wcsicmp(name.c_str(), awaited.c_str()) == 0)
        replaceImports(static_cast<HMODULE>(module->base));
}

class LoadNotification {
public:
    explicit LoadNotification(std::wstring name) : name_(std::move(name)) {
        if (function<Register>(ntdll(), "LdrRegisterDllNotification")(0, onModule, &name_, &cookie_) < 0)
            throw std::runtime_error("the loader gives no notifications");
    }
    LoadNotification(const LoadNotification&) = delete;
    LoadNotification& operator=(const LoadNotification&) = delete;
    ~LoadNotification() { function<Unregister>(ntdll(), "LdrUnregisterDllNotification")(cookie_); }

private:
    static HMODULE ntdll() { return GetModuleHandleW(L"ntdll.dll"); }

    std::wstring name_;
    void* cookie_ = nullptr;
};

HMODULE load(const std::wstring& path) {
    const LoadNotification notification(fileName(path));
    HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr)
        throw std::runtime_error("the DLL does not load, error " + std::to_string(GetLastError()));
    return module;
}

} // namespace

ShippedLibrary::ShippedLibrary(const std::wstring& path) : module_(load(path)) {}

ShippedLibrary::~ShippedLibrary() {
    FreeLibrary(module_);
}

HRESULT ShippedLibrary::getClassObject(REFCLSID clsid, REFIID iid, void** object) const {
    return function<decltype(&DllGetClassObject)>(module_, "DllGetClassObject")(clsid, iid, object);
}

HRESULT ShippedLibrary::canUnloadNow() const {
    return function<decltype(&DllCanUnloadNow)>(module_, "DllCanUnloadNow")();
}

HRESULT ShippedLibrary::registerServer() const {
    return function<HRESULT(WINAPI*)()>(module_, "DllRegisterServer")();
}

HRESULT ShippedLibrary::unregisterServer() const {
    return function<HRESULT(WINAPI*)()>(module_, "DllUnregisterServer")();
}

HRESULT ShippedLibrary::install(bool install, const wchar_t* commandLine) const {
    return function<HRESULT(WINAPI*)(BOOL, PCWSTR)>(module_, "DllInstall")(install ? TRUE : FALSE, commandLine);
}

HRESULT ShippedLibrary::autoInstallEx(int mode) const {
    return function<HRESULT(WINAPI*)(UINT_PTR, int)>(module_, "AutoInstallEx")(0, mode);
}

bool ShippedLibrary::isLoaded(const std::wstring& path) {
    return GetModuleHandleW(path.c_str()) != nullptr;
}

std::wstring shippedLibraryPath() {
    const auto& arguments = test::arguments();
    return arguments.empty() ? test::siblingPath(L"..\\zorvanlib.dll") : arguments.front();
}

} // namespace zorvan::simulation
