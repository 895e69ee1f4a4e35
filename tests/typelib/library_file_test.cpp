// The DLL as a file: what it offers, what it needs, and what it carries.
#include "typelib/library_file.h"

#include "runner/runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <utility>

namespace zorvan::test {

namespace {

std::wstring libraryPath() {
    return siblingPath(L"..\\zorvanlib.dll");
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::wstring versionText(const std::wstring& path, const wchar_t* name) {
    std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), nullptr));
    if (block.empty() || !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()))
        return L"(no version resource)";
    void* text = nullptr;
    UINT length = 0;
    const std::wstring query = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
    if (!VerQueryValueW(block.data(), query.c_str(), &text, &length))
        return L"(missing)";
    return static_cast<const wchar_t*>(text);
}

} // namespace

TEST(LibraryFile, ExportsItsEntryPointsUndecorated) {
    const std::set<std::string> expected = {
        "DllCanUnloadNow", "DllGetClassObject", "DllInstall", "DllRegisterServer", "DllUnregisterServer",
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

TEST(LibraryFile, IsHardened) {
    constexpr WORD kHardened = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT |
                               IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA;
    EXPECT_EQ(kHardened, LibraryFile(libraryPath()).characteristics() & kHardened);
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

TEST(LibraryFile, TellsItsVersion) {
    const std::pair<const wchar_t*, const wchar_t*> texts[] = {
        {L"CompanyName", L"Qeltra Software"}, {L"FileVersion", L"3.0.0.0"},
        {L"ProductName", L"zorvanlib"},       {L"ProductVersion", L"3.0.0.0"},
        {L"InternalName", L"zorvanlib"},      {L"OriginalFilename", L"zorvanlib.dll"},
    };
    for (const auto& [name, text] : texts)
        EXPECT_EQ(text, versionText(libraryPath(), name)) << name;
}

} // namespace zorvan::test
