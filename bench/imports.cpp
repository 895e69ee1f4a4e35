#include "imports.h"

#include <cstdint>

namespace zorvan::bench {

namespace {

// An address inside a loaded module.
template <class Type>
Type* at(HMODULE module, ULONGLONG offset) {
    return reinterpret_cast<Type*>(reinterpret_cast<std::uint8_t*>(module) + offset);
}

// Calls visit(descriptor) for each DLL that the module imports from.
template <class Visit>
void forEachImportedDll(HMODULE module, Visit&& visit) {
    const auto* dosHeader = at<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = at<const IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dosHeader->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* descriptor = at<const IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         descriptor->Name != 0; ++descriptor)
        visit(*descriptor);
}

void** findEntry(HMODULE module, std::string_view wanted) {
    void** found = nullptr;
    forEachImportedDll(module, [&](const IMAGE_IMPORT_DESCRIPTOR& descriptor) {
        const auto* name = at<const IMAGE_THUNK_DATA>(module, descriptor.OriginalFirstThunk);
        auto* entry = at<void*>(module, descriptor.FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++entry) {
            const auto* import = at<const IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) && wanted == reinterpret_cast<const char*>(&import->Name[0]))
                found = entry;
        }
    });
    return found;
}

} // namespace

ReplacedImport::ReplacedImport(HMODULE module, std::string_view name, void* replacement)
    : entry_(findEntry(module, name)) {
    if (entry_ == nullptr)
        return;
    original_ = *entry_;
    write(replacement);
}

ReplacedImport::~ReplacedImport() {
    if (entry_ != nullptr)
        write(original_);
}

void ReplacedImport::write(void* function) const {
    DWORD old = 0;
    VirtualProtect(entry_, sizeof *entry_, PAGE_READWRITE, &old);
    *entry_ = function;
    VirtualProtect(entry_, sizeof *entry_, old, &old);
}

} // namespace zorvan::bench
