#include "setup/package_paths.h"

#include "base/hresult_error.h"

namespace zorvan::setup {

namespace {

constexpr wchar_t kModuleName[] = L"zorvanlib";
constexpr wchar_t kInfName[] = L"zorvan.inf";
constexpr wchar_t kDifxApiName[] = L"DIFxAPI.dll";

std::wstring modulePath() {
    const HMODULE module = GetModuleHandleW(kModuleName);
    if (module == nullptr)
        throwLastError();
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    if (length == 0)
        throwLastError();
    // A path that fills the buffer has been cut off: its folders cannot be trusted.
    if (length >= MAX_PATH)
        throw HResultError(hresultFromWin32(ERROR_INSUFFICIENT_BUFFER));
    return {path, length};
}

// With its closing backslash. A path without any has no folder: oddity 31 of docs/architecture.md.
std::wstring folderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring parentOf(std::wstring folder) {
    if (!folder.empty())
        folder.pop_back(); // the closing backslash
    return folderOf(folder);
}

} // namespace

PackagePaths packagePaths() {
    const std::wstring folder = folderOf(modulePath());
    return {parentOf(folder) + kInfName, folder + kDifxApiName};
}

} // namespace zorvan::setup
