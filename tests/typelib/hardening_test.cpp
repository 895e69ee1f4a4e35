// What the DLL's file brings along against attacks on its memory, read from its headers, its code and its symbols.
#include "runner/runner.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zorvan::test {

namespace {

// A program or its debug information, as it stands on the disk.
class ImageFile {
public:
    explicit ImageFile(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
        if (bytes_.size() < sizeof(IMAGE_DOS_HEADER) + sizeof(IMAGE_NT_HEADERS64))
            throw std::runtime_error("no program: " + path.string());
    }

    const IMAGE_NT_HEADERS64& headers() const { return *at<IMAGE_NT_HEADERS64>(headersOffset()); }

    std::span<const IMAGE_SECTION_HEADER> sections() const {
        const IMAGE_FILE_HEADER& header = headers().FileHeader;
        const auto offset =
            headersOffset() + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + header.SizeOfOptionalHeader;
        return {at<IMAGE_SECTION_HEADER>(offset), header.NumberOfSections};
    }

    std::string_view contents(const IMAGE_SECTION_HEADER& section) const {
        return std::string_view(bytes_).substr(section.PointerToRawData, section.SizeOfRawData);
    }

    // Relative to the start of the module; nothing when the file has no such symbol.
    std::optional<DWORD> addressOf(std::string_view name) const {
        const DWORD count = headers().FileHeader.NumberOfSymbols;
        for (DWORD i = 0; i < count; i += 1U + symbol(i).NumberOfAuxSymbols)
            if (symbol(i).SectionNumber > 0 && nameOf(symbol(i)) == name)
                return sections()[static_cast<std::size_t>(symbol(i).SectionNumber) - 1].VirtualAddress +
                       symbol(i).Value;
        return std::nullopt;
    }

private:
    template <class Type>
    const Type* at(std::size_t offset) const {
        return reinterpret_cast<const Type*>(bytes_.data() + offset);
    }

    std::size_t headersOffset() const { return static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew); }

    const IMAGE_SYMBOL& symbol(DWORD index) const {
        return at<IMAGE_SYMBOL>(headers().FileHeader.PointerToSymbolTable)[index];
    }

    // A name of more than eight characters stands behind the symbols.
    std::string_view nameOf(const IMAGE_SYMBOL& entry) const {
        if (entry.N.Name.Short != 0) {
            const auto* shortName = reinterpret_cast<const char*>(entry.N.ShortName);
            return {shortName, strnlen(shortName, sizeof entry.N.ShortName)};
        }
        return reinterpret_cast<const char*>(&symbol(headers().FileHeader.NumberOfSymbols)) + entry.N.Name.Long;
    }

    std::string bytes_;
};

ImageFile library() {
    return ImageFile(siblingPath(L"..\\zorvanlib.dll"));
}

ImageFile debugInformation() {
    return ImageFile(siblingPath(L"..\\zorvanlib.dll.debug"));
}

// The call instructions in a piece of code, which stands at an address, that call a function at another address.
std::size_t countCalls(std::string_view code, DWORD address, DWORD function) {
    constexpr char kNearCall = '\xE8';
    constexpr std::size_t kLength = 1 + sizeof(DWORD);
    std::size_t count = 0;
    for (std::size_t i = 0; i + kLength <= code.size(); ++i) {
        DWORD distance = 0; // from the next instruction
        std::memcpy(&distance, code.data() + i + 1, sizeof distance);
        if (code[i] == kNearCall && address + static_cast<DWORD>(i + kLength) + distance == function)
            ++count;
    }
    return count;
}

} // namespace

TEST(Hardening, ModuleMayBeLoadedAnywhere) {
    const ImageFile file = library();
    constexpr WORD kAnywhere = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA;
    EXPECT_EQ(kAnywhere, file.headers().OptionalHeader.DllCharacteristics & kAnywhere);
    // Without relocations it could not be moved, whatever the flags say.
    EXPECT_EQ(0, file.headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_NE(0U, file.headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size);
}

TEST(Hardening, DataIsNotExecuted) {
    const ImageFile file = library();
    EXPECT_NE(0, file.headers().OptionalHeader.DllCharacteristics & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    std::size_t executable = 0;
    for (const IMAGE_SECTION_HEADER& section : file.sections()) {
        if ((section.Characteristics & IMAGE_SCN_MEM_EXECUTE) == 0)
            continue;
        ++executable;
        EXPECT_EQ(0U, section.Characteristics & IMAGE_SCN_MEM_WRITE) << section.Name;
    }
    EXPECT_EQ(1U, executable);
}

// A protected function ends in a call of __stack_chk_fail when its frame was overwritten.
TEST(Hardening, FunctionsWithBuffersGuardTheirStack) {
    const auto fail = debugInformation().addressOf("__stack_chk_fail");
    ASSERT_TRUE(fail) << "nothing is protected";
    const ImageFile file = library();
    std::size_t calls = 0;
    for (const IMAGE_SECTION_HEADER& section : file.sections())
        if ((section.Characteristics & IMAGE_SCN_MEM_EXECUTE) != 0)
            calls += countCalls(file.contents(section), section.VirtualAddress, *fail);
    // More than a hundred functions of the library have a local array or take the address of a local.
    EXPECT_LT(100U, calls);
}

} // namespace zorvan::test
