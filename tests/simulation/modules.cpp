// Functions that the library looks up at run time: it gets the simulated ones.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

namespace {

bool isOrdinal(LPCSTR name) {
    return reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
}

FARPROC WINAPI getProcAddress(HMODULE module, LPCSTR name) {
    if (isOrdinal(name))
        return ::GetProcAddress(module, name);
    Call call("GetProcAddress", name);
    if (call.fails())
        return nullptr;
    if (void* simulated = SimulatedFunction::find(name))
        return reinterpret_cast<FARPROC>(simulated);
    return ::GetProcAddress(module, name);
}
SIMULATE(GetProcAddress, getProcAddress);

HMODULE WINAPI getModuleHandle(LPCWSTR name) {
    Call call("GetModuleHandleW", name);
    return call.fails() ? nullptr : ::GetModuleHandleW(name);
}
SIMULATE(GetModuleHandleW, getModuleHandle);

HMODULE WINAPI loadLibrary(LPCWSTR name) {
    Call call("LoadLibraryW", name);
    return call.fails() ? nullptr : ::LoadLibraryW(name);
}
SIMULATE(LoadLibraryW, loadLibrary);

HMODULE WINAPI loadLibraryEx(LPCWSTR name, HANDLE file, DWORD flags) {
    Call call("LoadLibraryExW", name, Hex{flags});
    return call.fails() ? nullptr : ::LoadLibraryExW(name, file, flags);
}
SIMULATE(LoadLibraryExW, loadLibraryEx);

} // namespace

} // namespace zorvan::simulation
