// Functions that the library looks up at run time: it gets the simulated ones.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

// A library that only the simulation has.
class LoadedModule : public NoKernelObject {
public:
    explicit LoadedModule(std::wstring path) : path_(std::move(path)) {}
    std::string description() const override { return "module " + describe(path_); }

private:
    std::wstring path_;
};

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
    if (HandleTable::isSimulated(module)) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return ::GetProcAddress(module, name);
}
SIMULATE(GetProcAddress, getProcAddress);

HMODULE WINAPI getModuleHandle(LPCWSTR name) {
    Call call("GetModuleHandleW", name);
    return call.fails() ? nullptr : ::GetModuleHandleW(name);
}
SIMULATE(GetModuleHandleW, getModuleHandle);

// A path that does not fit is cut off and terminated, and fills the buffer.
DWORD copyPath(const std::wstring& path, LPWSTR buffer, DWORD size) {
    const bool fits = path.size() < size;
    const std::size_t length = fits ? path.size() : size - 1;
    std::copy_n(path.begin(), length, buffer);
    buffer[length] = 0;
    SetLastError(fits ? ERROR_SUCCESS : ERROR_INSUFFICIENT_BUFFER);
    return fits ? static_cast<DWORD>(length) : size;
}

DWORD WINAPI getModuleFileName(HMODULE module, LPWSTR buffer, DWORD size) {
    const std::wstring path = Machine::current().modules.libraryPath;
    if (path.empty())
        return ::GetModuleFileNameW(module, buffer, size);
    Call call("GetModuleFileNameW", size);
    return call.fails() ? 0 : copyPath(path, buffer, size);
}
SIMULATE(GetModuleFileNameW, getModuleFileName);

HRSRC WINAPI findResource(HMODULE module, LPCWSTR name, LPCWSTR type) {
    Call call("FindResourceW", type);
    return call.fails() ? nullptr : ::FindResourceW(module, name, type);
}
SIMULATE(FindResourceW, findResource);

HGLOBAL WINAPI loadResource(HMODULE module, HRSRC resource) {
    Call call("LoadResource");
    return call.fails() ? nullptr : ::LoadResource(module, resource);
}
SIMULATE(LoadResource, loadResource);

HMODULE WINAPI loadLibrary(LPCWSTR name) {
    Call call("LoadLibraryW", name);
    if (call.fails())
        return nullptr;
    if (call->modules.loadable.contains(name))
        return static_cast<HMODULE>(call.open(std::make_shared<LoadedModule>(name)));
    return ::LoadLibraryW(name);
}
SIMULATE(LoadLibraryW, loadLibrary);

BOOL WINAPI freeLibrary(HMODULE module) {
    if (!HandleTable::isSimulated(module))
        return ::FreeLibrary(module);
    Call call("FreeLibrary", static_cast<HANDLE>(module));
    if (call.object<LoadedModule>(module) == nullptr)
        return FALSE;
    call.close(module);
    return !call.fails();
}
SIMULATE(FreeLibrary, freeLibrary);

HMODULE WINAPI loadLibraryEx(LPCWSTR name, HANDLE file, DWORD flags) {
    Call call("LoadLibraryExW", name, Hex{flags});
    return call.fails() ? nullptr : ::LoadLibraryExW(name, file, flags);
}
SIMULATE(LoadLibraryExW, loadLibraryEx);

} // namespace

} // namespace zorvan::simulation
