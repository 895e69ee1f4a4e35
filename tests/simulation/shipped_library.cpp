#include "simulation/shipped_library.h"

#include "simulation/simulated_function.h"
#include "support/test_main.h"

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
using Register = NTSTATUS NTAPI(ULONG flags, NotificationCallback callback, void* context, void** cookie);
using Unregister = NTSTATUS NTAPI(void* cookie);

void CALLBACK onModule(ULONG reason, const ModuleNotification* module, void* context) {
    const auto& awaited = *static_cast<const std::wstring*>(context);
    const std::wstring name(module->baseName->Buffer, module->baseName->Length / sizeof(wchar_t));
    if (reason == kLoaded && _wcsicmp(name.c_str(), awaited.c_str()) == 0)
        replaceImports(static_cast<HMODULE>(module->base));
}

HMODULE load(const std::wstring& path) {
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    std::wstring name = path.substr(path.find_last_of(L'\\') + 1);
    void* cookie = nullptr;
    if (procedure<Register>(ntdll, "LdrRegisterDllNotification")(0, onModule, &name, &cookie) < 0)
        throw std::runtime_error("the loader gives no notifications");
    HMODULE module = LoadLibraryW(path.c_str());
    const DWORD error = GetLastError();
    procedure<Unregister>(ntdll, "LdrUnregisterDllNotification")(cookie);
    if (module == nullptr)
        throw std::runtime_error("the DLL does not load, error " + std::to_string(error));
    return module;
}

} // namespace

FARPROC addressOf(HMODULE module, const char* name) {
    FARPROC address = GetProcAddress(module, name);
    if (address == nullptr)
        throw std::runtime_error(std::string("there is no function ") + name);
    return address;
}

ShippedLibrary::ShippedLibrary(const std::wstring& path) : module_(load(path)) {}

ShippedLibrary::~ShippedLibrary() {
    FreeLibrary(module_);
}

bool ShippedLibrary::isLoaded(const std::wstring& path) {
    return GetModuleHandleW(path.c_str()) != nullptr;
}

std::wstring shippedLibraryPath() {
    const auto& arguments = test::arguments();
    return arguments.empty() ? test::siblingPath(L"..\\zorvanlib.dll") : arguments.front();
}

} // namespace zorvan::simulation
