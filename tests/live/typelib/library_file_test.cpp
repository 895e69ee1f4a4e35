// The DLL as a file: what it imports and carries, and what it brings along against attacks on its memory.
#include "support/program.h"
#include "support/test_main.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string>

namespace zorvan::test {

namespace {

// The headers of a program as it stands on the disk.
const IMAGE_NT_HEADERS64& headersOf(const std::string& file) {
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(file.data());
    return *reinterpret_cast<const IMAGE_NT_HEADERS64*>(file.data() + dos->e_lfanew);
}

std::span<const IMAGE_SECTION_HEADER> sectionsOf(const std::string& file) {
    const auto& headers = headersOf(file); // which the sections' follow
    return {reinterpret_cast<const IMAGE_SECTION_HEADER*>(&headers + 1), headers.FileHeader.NumberOfSections};
}

// What stands on the disk for an address, relative to the start of the module.
const char* contentAt(DWORD address, const std::string& file) {
    for (const auto& section : sectionsOf(file))
        if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
            return file.data() + section.PointerToRawData + (address - section.VirtualAddress);
    throw std::runtime_error("an address is in no section");
}

// Each DLL with its functions, in the order of the alphabet.
std::string importsOf(const std::string& file) {
    std::map<std::string, std::set<std::string>> imports;
    const auto table = headersOf(file).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    const auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(contentAt(table, file));
    for (; dll->Name != 0; ++dll) {
        auto& functions = imports[contentAt(dll->Name, file)];
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA64*>(contentAt(dll->FirstThunk, file));
        for (; entry->u1.AddressOfData != 0; ++entry) {
            const auto address = static_cast<DWORD>(entry->u1.AddressOfData);
            functions.insert(contentAt(address + offsetof(IMAGE_IMPORT_BY_NAME, Name), file));
        }
    }
    std::string text;
    for (const auto& [name, functions] : imports) {
        text += name + "\n";
        for (const auto& function : functions)
            text += "  " + function + "\n";
    }
    return text;
}

// The name is longer than eight characters: those stand behind the symbols.
bool hasSymbol(const char* name, const std::string& file) {
    const auto& header = headersOf(file).FileHeader;
    const auto* symbols = reinterpret_cast<const IMAGE_SYMBOL*>(file.data() + header.PointerToSymbolTable);
    const auto* names = reinterpret_cast<const char*>(symbols + header.NumberOfSymbols);
    const std::span all(symbols, header.NumberOfSymbols);
    return std::any_of(all.begin(), all.end(), [&](const auto& symbol) {
        return symbol.N.Name.Short == 0 && symbol.SectionNumber > 0 &&
               std::strcmp(names + symbol.N.Name.Long, name) == 0;
    });
}

class LibraryFile : public testing::Test {
protected:
    const std::wstring path_ = siblingPath(L"..\\zorvanlib.dll");
    const std::string file_ = readFile(path_);
};

TEST_F(LibraryFile, MayBeLoadedAnywhereAndItsDataAreNotExecuted) {
    constexpr WORD kProtected = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    const auto& headers = headersOf(file_);
    EXPECT_EQ(kProtected, headers.OptionalHeader.DllCharacteristics & kProtected);
    // Without relocations it could not be moved, whatever the flags say.
    EXPECT_EQ(0, headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_NE(0U, headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size);
    constexpr DWORD kBoth = IMAGE_SCN_MEM_EXECUTE | IMAGE_SCN_MEM_WRITE;
    for (const auto& section : sectionsOf(file_))
        EXPECT_NE(kBoth, section.Characteristics & kBoth) << section.Name;
}

TEST_F(LibraryFile, ImportsWhatIsListedFromTheDllsThatAreListed) {
    EXPECT_EQ(readFile(SOURCE_FOLDER L"tests/live/typelib/imports.txt"), importsOf(file_));
}

// A protected function ends in a call of __stack_chk_fail when its frame was overwritten.
TEST_F(LibraryFile, FunctionsWithBuffersGuardTheirStack) {
    EXPECT_TRUE(hasSymbol("__stack_chk_fail", readFile(path_ + L".debug"))) << "nothing is protected";
}

TEST_F(LibraryFile, CarriesItsResourcesInEnglish) {
    const HMODULE module = LoadLibraryExW(path_.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(nullptr, module);
    const std::pair<const wchar_t*, WORD> resources[] = {
        {L"TYPELIB", 1}, {L"REGISTRY", 101}, {L"REGISTRY", 106}, {RT_VERSION, 1}, {RT_STRING, 1000 / 16 + 1}};
    const auto expectEnglish = [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR) -> BOOL {
        EXPECT_EQ(1033, language);
        return TRUE;
    };
    for (const auto& [type, number] : resources)
        EXPECT_TRUE(EnumResourceLanguagesW(module, type, MAKEINTRESOURCEW(number), expectEnglish, 0)) << number;
    // The class, for prompts of the system.
    wchar_t text[256] = L"";
    LoadStringW(module, 1000, text, 256);
    EXPECT_STREQ(L"Qeltra Software Virtual Serial Port ActiveX", text);
    FreeLibrary(module);
    // The second accessors' help strings, which the type library holds but nobody can ask it for.
    for (const char* help :
         {"Set the device's port name (rename device)", "Get the TX buffer overrun emulation flag",
          "Get the single bit crossover probability (BSCp)"})
        EXPECT_NE(std::string::npos, file_.find(help)) << help;
}

} // namespace

} // namespace zorvan::test
