#include "simulation/import_table.h"

#include "simulation/simulated_function.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace zorvan::simulation {

namespace {

constexpr std::array<const char*, 5> kNeverReal{
    "setupapi.dll", "cfgmgr32.dll", "newdev.dll", "msports.dll", "difxapi.dll"};

// An address inside a loaded module.
template <class Type>
Type* at(HMODULE module, DWORD offset) {
    return reinterpret_cast<Type*>(reinterpret_cast<std::uint8_t*>(module) + offset);
}

bool mustNotBeReal(const char* dll) {
    for (const char* name : kNeverReal)
        if (_stricmp(name, dll) == 0)
            return true;
    return false;
}

ULONG_PTR WINAPI reportUnknown(const char* function) {
    ADD_FAILURE() << "The library called " << function << ", which the simulation does not know. Add it there.";
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return 0;
}

// Code that calls reportUnknown(function). It stays for the life of the process.
void* makeReporter(const char* function) {
    // mov rcx, function; mov rax, reportUnknown; jmp rax
    std::array<std::uint8_t, 22> code{0x48, 0xB9, 0, 0, 0, 0, 0, 0, 0, 0,    0x48,
                                      0xB8, 0,    0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};
    auto* report = &reportUnknown;
    std::memcpy(&code[2], &function, sizeof function);
    std::memcpy(&code[12], &report, sizeof report);
    void* place = VirtualAlloc(nullptr, code.size(), MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    std::memcpy(place, code.data(), code.size());
    return place;
}

void write(ULONG_PTR& entry, void* function) {
    DWORD old = 0;
    VirtualProtect(&entry, sizeof entry, PAGE_READWRITE, &old);
    entry = reinterpret_cast<ULONG_PTR>(function);
    VirtualProtect(&entry, sizeof entry, old, &old);
}

void replaceEntry(const char* dll, const char* function, ULONG_PTR& entry) {
    if (void* simulated = SimulatedFunction::find(function))
        write(entry, simulated);
    else if (mustNotBeReal(dll))
        write(entry, makeReporter(_strdup(function)));
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

void replaceImports(HMODULE module) {
    const auto* dosHeader = at<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = at<const IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dosHeader->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* descriptor = at<const IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         descriptor->Name != 0; ++descriptor)
        replaceImportsFrom(module, *descriptor);
}

} // namespace zorvan::simulation
