// The DLL as a file: what it offers, what it needs, and what it carries.
#include "base/hresult_error.h"
#include "runner/runner.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zorvan::test {

namespace {

// Its headers and resources, without running any of it.
class LibraryFile {
public:
    // Mapped as an image, so that addresses in it hold, but not as a program: nothing is resolved and nothing runs.
    // The system marks such a handle in its low bits.
    explicit LibraryFile(const std::wstring& path)
        : module_(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE)),
          base_(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(module_) & ~std::uintptr_t{3})) {
        if (module_ == nullptr)
            throwLastError();
    }

    LibraryFile(const LibraryFile&) = delete;
    LibraryFile& operator=(const LibraryFile&) = delete;
    ~LibraryFile() { FreeLibrary(module_); }

    std::set<std::string> exportedNames() const {
        std::set<std::string> names;
        const auto* exports = directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
        if (exports == nullptr)
            return names;
        const DWORD* addresses = at<DWORD>(exports->AddressOfNames);
        for (DWORD i = 0; i < exports->NumberOfNames; ++i)
            names.insert(at<char>(addresses[i]));
        return names;
    }

    std::set<std::string> importedModules() const {
        std::set<std::string> modules;
        const auto* import = directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
        for (; import != nullptr && import->Name != 0; ++import)
            modules.insert(at<char>(import->Name));
        return modules;
    }

    std::string_view resource(const wchar_t* type, WORD number) const {
        const HRSRC found = FindResourceW(module_, MAKEINTRESOURCEW(number), type);
        if (found == nullptr)
            return {};
        return {static_cast<const char*>(LockResource(LoadResource(module_, found))), SizeofResource(module_, found)};
    }

    std::vector<WORD> resourceLanguages(const wchar_t* type, WORD number) const {
        std::vector<WORD> languages;
        const auto collect = [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR result) -> BOOL {
            reinterpret_cast<std::vector<WORD>*>(result)->push_back(language);
            return TRUE;
        };
        EnumResourceLanguagesW(
            module_, type, MAKEINTRESOURCEW(number), collect, reinterpret_cast<LONG_PTR>(&languages));
        return languages;
    }

    std::wstring string(UINT number) const {
        wchar_t text[256];
        const int length = LoadStringW(module_, number, text, 256);
        return {text, static_cast<std::size_t>(length)};
    }

private:
    const IMAGE_NT_HEADERS64& headers() const {
        return *at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }

    // What stands at an address relative to the start of the module.
    template <class Type>
    const Type* at(DWORD address) const {
        return reinterpret_cast<const Type*>(base_ + address);
    }

    // Null when the module has none of this kind.
    template <class Directory>
    const Directory* directory(unsigned index) const {
        const DWORD address = headers().OptionalHeader.DataDirectory[index].VirtualAddress;
        return address == 0 ? nullptr : at<Directory>(address);
    }

    HMODULE module_;
    const char* base_;
};

std::wstring libraryPath() {
    return siblingPath(L"..\\zorvanlib.dll");
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

} // namespace

TEST(LibraryFile, ExportsItsEntryPointsUndecorated) {
    const std::set<std::string> expected = {
        "AutoInstallEx", "DllCanUnloadNow",   "DllGetClassObject",
        "DllInstall",    "DllRegisterServer", "DllUnregisterServer",
    };
    EXPECT_EQ(expected, LibraryFile(libraryPath()).exportedNames());
}

// Anything else would have to be shipped along.
TEST(LibraryFile, NeedsOnlyModulesOfWindows) {
    const std::set<std::string> ofWindows = {
        "advapi32.dll", "cfgmgr32.dll", "kernel32.dll", "msports.dll", "msvcrt.dll",  "newdev.dll",
        "ole32.dll",    "oleaut32.dll", "setupapi.dll", "user32.dll",  "userenv.dll",
    };
    const auto modules = LibraryFile(libraryPath()).importedModules();
    EXPECT_FALSE(modules.empty());
    for (const std::string& module : modules)
        EXPECT_TRUE(ofWindows.contains(lowerCase(module))) << module;
}

TEST(LibraryFile, CarriesItsResourcesInEnglish) {
    const LibraryFile file(libraryPath());
    const std::vector<WORD> english = {1033};
    constexpr WORD kStringBlock = 1000 / 16 + 1;
    const std::pair<const wchar_t*, WORD> resources[] = {
        {L"TYPELIB", 1}, {L"REGISTRY", 101}, {L"REGISTRY", 106}, {RT_STRING, kStringBlock}, {RT_VERSION, 1},
    };
    for (const auto& [type, number] : resources)
        EXPECT_EQ(english, file.resourceLanguages(type, number)) << "resource " << number;
}

TEST(LibraryFile, NamesItsClassForPromptsOfTheSystem) {
    EXPECT_EQ(L"Qeltra Software Virtual Serial Port ActiveX", LibraryFile(libraryPath()).string(1000));
}

// The second accessors' help strings, which the type library holds but nobody can ask it for.
TEST(LibraryFile, HoldsTheHelpOfSecondAccessors) {
    const LibraryFile file(libraryPath());
    const std::string_view data = file.resource(L"TYPELIB", 1);
    for (const char* help :
         {"Set the device's port name (rename device)", "Get the TX buffer overrun emulation flag",
          "Get the single bit crossover probability (BSCp)"})
        EXPECT_NE(std::string_view::npos, data.find(help)) << help;
}

} // namespace zorvan::test
