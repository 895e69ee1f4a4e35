#include "typelib/library_file.h"

#include "base/hresult_error.h"

namespace zorvan::test {

// Mapped as an image, so that addresses in it hold, but not as a program: nothing is resolved and nothing runs. The
// system marks such a handle in its low bits.
LibraryFile::LibraryFile(const std::wstring& path)
    : module_(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE)),
      base_(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(module_) & ~std::uintptr_t{3})) {
    if (module_ == nullptr)
        throwLastError();
}

LibraryFile::~LibraryFile() {
    FreeLibrary(module_);
}

const IMAGE_NT_HEADERS64& LibraryFile::headers() const {
    return *at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
}

std::set<std::string> LibraryFile::exportedNames() const {
    std::set<std::string> names;
    const auto* exports = directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
    if (exports == nullptr)
        return names;
    const DWORD* addresses = at<DWORD>(exports->AddressOfNames);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        names.insert(at<char>(addresses[i]));
    return names;
}

std::set<std::string> LibraryFile::importedModules() const {
    std::set<std::string> modules;
    const auto* import = directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
    for (; import != nullptr && import->Name != 0; ++import)
        modules.insert(at<char>(import->Name));
    return modules;
}

WORD LibraryFile::characteristics() const {
    return headers().OptionalHeader.DllCharacteristics;
}

std::string_view LibraryFile::resource(const wchar_t* type, WORD number) const {
    const HRSRC found = FindResourceW(module_, MAKEINTRESOURCEW(number), type);
    if (found == nullptr)
        return {};
    return {static_cast<const char*>(LockResource(LoadResource(module_, found))), SizeofResource(module_, found)};
}

std::vector<WORD> LibraryFile::resourceLanguages(const wchar_t* type, WORD number) const {
    std::vector<WORD> languages;
    const auto collect = [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR result) -> BOOL {
        reinterpret_cast<std::vector<WORD>*>(result)->push_back(language);
        return TRUE;
    };
    EnumResourceLanguagesW(module_, type, MAKEINTRESOURCEW(number), collect, reinterpret_cast<LONG_PTR>(&languages));
    return languages;
}

std::wstring LibraryFile::string(UINT number) const {
    wchar_t text[256];
    const int length = LoadStringW(module_, number, text, 256);
    return {text, static_cast<std::size_t>(length)};
}

} // namespace zorvan::test
