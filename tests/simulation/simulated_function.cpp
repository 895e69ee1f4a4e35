#include "simulation/simulated_function.h"

#include "simulation/machine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>

namespace zorvan::simulation {

namespace {

// Filled while the program starts, in no particular order of files.
std::map<std::string_view, void*>& functions() {
    static std::map<std::string_view, void*> all;
    return all;
}

// An address inside a loaded module.
template <class Type>
Type* at(HMODULE module, DWORD offset) {
    return reinterpret_cast<Type*>(reinterpret_cast<std::uint8_t*>(module) + offset);
}

bool mustNotBeReal(const char* dll) {
    for (const char* name : {"setupapi.dll", "cfgmgr32.dll", "newdev.dll", "msports.dll", "difxapi.dll"})
        if (_stricmp(name, dll) == 0)
            return true;
    return false;
}

void write(ULONG_PTR& entry, void* function) {
    DWORD old = 0;
    VirtualProtect(&entry, sizeof entry, PAGE_READWRITE, &old);
    entry = reinterpret_cast<ULONG_PTR>(function);
    VirtualProtect(&entry, sizeof entry, old, &old);
}

void replaceEntry(const char* dll, const char* function, ULONG_PTR& entry) {
    void* simulated = SimulatedFunction::find(function);
    if (simulated == nullptr && !mustNotBeReal(dll))
        return;
    write(entry, simulated);
    EXPECT_NE(simulated, nullptr) << "the library imports " << function << ", which the simulation does not know";
}

void replaceImportsFrom(HMODULE module, const IMAGE_IMPORT_DESCRIPTOR& descriptor) {
    const auto* dll = at<const char>(module, descriptor.Name);
    auto* name = at<const IMAGE_THUNK_DATA>(module, descriptor.OriginalFirstThunk);
    auto* entry = at<IMAGE_THUNK_DATA>(module, descriptor.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++entry)
        if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
            const auto* import = at<const IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(name->u1.AddressOfData));
            replaceEntry(dll, reinterpret_cast<const char*>(&import->Name[0]), entry->u1.Function);
        }
}

} // namespace

SimulatedFunction::SimulatedFunction(const char* name, void* implementation) {
    functions()[name] = implementation;
}

void* SimulatedFunction::find(std::string_view name) {
    const auto found = functions().find(name);
    return found == functions().end() ? nullptr : found->second;
}

void countGiven(const char* what, int change) {
    const DWORD lastError = GetLastError();
    Machine::current().count(what, change);
    SetLastError(lastError);
}

void replaceImports(HMODULE module) {
    const auto* dosHeader = at<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = at<const IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dosHeader->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* descriptor = at<const IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         descriptor->Name != 0; ++descriptor)
        replaceImportsFrom(module, *descriptor);
}

} // namespace zorvan::simulation
