#include "import_slot.h"

#include <cstdint>

namespace zorvan::engine {
namespace {

void write(const void*& slot, const void* function) {
    DWORD protection = 0;
    if (!VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection))
        return;
    slot = function;
    VirtualProtect(&slot, sizeof slot, protection, &protection); // what stays writable still works
}

void replaceIn(std::uint8_t* begin, std::size_t size, const void* function, const void* replacement) {
    auto** const slots = reinterpret_cast<const void**>(begin);
    for (std::size_t i = 0; i < size / sizeof *slots; ++i)
        if (slots[i] == function)
            write(slots[i], replacement);
}

} // namespace

// The slots lie in sections of data that the module itself writes. They are searched for the address: Wine's modules
// name in no directory what they import at the first call.
void replaceImport(HMODULE module, const void* function, const void* replacement) {
    auto* const base = reinterpret_cast<std::uint8_t*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(headers + 1); // they follow the headers
    for (unsigned i = 0; i < headers->FileHeader.NumberOfSections; ++i, ++section)
        if ((section->Characteristics & IMAGE_SCN_MEM_WRITE) != 0)
            replaceIn(base + section->VirtualAddress, section->Misc.VirtualSize, function, replacement);
}

} // namespace zorvan::engine
