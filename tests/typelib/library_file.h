// The DLL as a file: its headers and resources, without running any of it.
#pragma once

#include <windows.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zorvan::test {

class LibraryFile {
public:
    explicit LibraryFile(const std::wstring& path);
    LibraryFile(const LibraryFile&) = delete;
    LibraryFile& operator=(const LibraryFile&) = delete;
    ~LibraryFile();

    std::set<std::string> exportedNames() const;
    std::set<std::string> importedModules() const;
    WORD characteristics() const; // IMAGE_DLLCHARACTERISTICS_...

    // Empty when there is none.
    std::string_view resource(const wchar_t* type, WORD number) const;
    std::vector<WORD> resourceLanguages(const wchar_t* type, WORD number) const;
    std::wstring string(UINT number) const;

private:
    const IMAGE_NT_HEADERS64& headers() const;

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

} // namespace zorvan::test
