// Modules, their resources, and the functions that the library looks up at run time: it gets the simulated ones.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

// A library that only the simulation has.
struct LoadedModule : NoKernelObject {
    using NoKernelObject::NoKernelObject;
};

PASS(BOOL, GetModuleHandleExW);
PASS(HMODULE, GetModuleHandleW);
PASS(HRSRC, FindResourceW);
PASS(HGLOBAL, LoadResource);

SIMULATE(FARPROC, GetProcAddress, HMODULE module, LPCSTR name) {
    const bool isOrdinal = reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
    if (void* simulated = isOrdinal ? nullptr : SimulatedFunction::find(name))
        return reinterpret_cast<FARPROC>(simulated);
    failIf(HandleTable::isSimulated(module), ERROR_PROC_NOT_FOUND);
    return ::GetProcAddress(module, name);
}

// A path that does not fit is cut off and terminated, and fills the buffer.
SIMULATE(DWORD, GetModuleFileNameW, HMODULE module, LPWSTR buffer, DWORD size) {
    const std::wstring path = Machine::current().modules.libraryPath;
    if (path.empty())
        return ::GetModuleFileNameW(module, buffer, size);
    const bool fits = path.size() < size;
    *std::copy_n(path.begin(), fits ? path.size() : size - 1, buffer) = L'\0';
    SetLastError(fits ? ERROR_SUCCESS : ERROR_INSUFFICIENT_BUFFER);
    return fits ? static_cast<DWORD>(path.size()) : size;
}

SIMULATE(HMODULE, LoadLibraryW, LPCWSTR name) {
    if (call->modules.loadable.contains(name))
        return static_cast<HMODULE>(call.open(std::make_shared<LoadedModule>("module " + describe(name))));
    return ::LoadLibraryW(name);
}

SIMULATE_SURE(BOOL, FreeLibrary, HMODULE module) {
    if (!HandleTable::isSimulated(module)) {
        call.over();
        return succeedAs(::FreeLibrary(module));
    }
    call.close<LoadedModule>(module);
}

} // namespace

} // namespace zorvan::simulation
