// The DLL as a file: what it imports and carries, and what it brings along against attacks on its memory.
#include "setup/difxapi_library.h"
#include "support/program.h"
#include "support/test_main.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>

namespace zorvan::test {

namespace {

const IMAGE_NT_HEADERS64& headersOf(HMODULE module) {
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
    return *reinterpret_cast<const IMAGE_NT_HEADERS64*>(reinterpret_cast<const char*>(module) + dos->e_lfanew);
}

// Each DLL with its functions, in the order of the alphabet.
std::string importsOf(HMODULE module) {
    const auto* begin = reinterpret_cast<const char*>(module);
    std::map<std::string, std::set<std::string>> imports;
    const auto table = headersOf(module).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    const auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(begin + table);
    for (; dll->Name != 0; ++dll) {
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA64*>(begin + dll->OriginalFirstThunk);
        for (; entry->u1.AddressOfData != 0; ++entry)
            imports[begin + dll->Name].insert(begin + entry->u1.AddressOfData + offsetof(IMAGE_IMPORT_BY_NAME, Name));
    }
    std::string text;
    for (const auto& [name, functions] : imports) {
        text += name + "\n";
        for (const auto& function : functions)
            text += "  " + function + "\n";
    }
    return text;
}

class LibraryFile : public testing::Test {
protected:
    const std::wstring path_ = siblingPath(L"..\\zorvanlib.dll");
    const setup::UniqueModule module_{LoadLibraryW(path_.c_str())};
};

TEST_F(LibraryFile, MayBeLoadedAnywhereAndItsDataAreNotExecuted) {
    constexpr WORD kProtected = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    const auto& headers = headersOf(module_.get());
    EXPECT_EQ(kProtected, headers.OptionalHeader.DllCharacteristics & kProtected);
    // Without relocations it could not be moved, whatever the flags say.
    EXPECT_EQ(0, headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_NE(0U, headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size);
    constexpr DWORD kBoth = IMAGE_SCN_MEM_EXECUTE | IMAGE_SCN_MEM_WRITE;
    const auto* sections = reinterpret_cast<const IMAGE_SECTION_HEADER*>(&headers + 1);
    for (int i = 0; i < headers.FileHeader.NumberOfSections; ++i)
        EXPECT_NE(kBoth, sections[i].Characteristics & kBoth) << sections[i].Name;
}

TEST_F(LibraryFile, ImportsWhatIsListedFromTheDllsThatAreListed) {
    EXPECT_EQ(readFile(SOURCE_FOLDER L"tests/live/typelib/imports.txt"), importsOf(module_.get()));
}

// A protected function ends in a call of __stack_chk_fail when its frame was overwritten.
TEST_F(LibraryFile, FunctionsWithBuffersGuardTheirStack) {
    EXPECT_NE(std::string::npos, readFile(path_ + L".debug").find("__stack_chk_fail")) << "nothing is protected";
}

TEST_F(LibraryFile, CarriesItsResourcesInEnglish) {
    const std::pair<const wchar_t*, WORD> resources[] = {
        {L"TYPELIB", 1}, {L"REGISTRY", 101}, {L"REGISTRY", 106}, {RT_VERSION, 1}, {RT_STRING, 1000 / 16 + 1}};
    const auto expectEnglish = [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR) -> BOOL {
        EXPECT_EQ(1033, language);
        return TRUE;
    };
    for (const auto& [type, number] : resources)
        EXPECT_TRUE(EnumResourceLanguagesW(module_.get(), type, MAKEINTRESOURCEW(number), expectEnglish, 0))
            << number;
    // The class, for prompts of the system.
    wchar_t text[256] = L"";
    LoadStringW(module_.get(), 1000, text, 256);
    EXPECT_STREQ(L"Qeltra Software Virtual Serial Port ActiveX", text);
    // The second accessors' help strings, which the type library holds but nobody can ask it for.
    for (const char* help :
         {"Set the device's port name (rename device)", "Get the TX buffer overrun emulation flag",
          "Get the single bit crossover probability (BSCp)"})
        EXPECT_NE(std::string::npos, readFile(path_).find(help)) << help;
}

} // namespace

} // namespace zorvan::test
