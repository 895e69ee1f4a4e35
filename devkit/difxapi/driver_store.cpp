#include "driver_store.h"

#include "windows_error.h"

namespace zorvan::devkit::driverStore {

namespace {

std::wstring storeFolder() {
    wchar_t windows[MAX_PATH];
    const UINT length = GetWindowsDirectoryW(windows, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        throwLastError("GetWindowsDirectory");
    return std::wstring(windows, length) + L"\\inf\\";
}

void copyFile(const std::wstring& from, const std::wstring& to) {
    if (!CopyFileW(from.c_str(), to.c_str(), FALSE))
        throwLastError("CopyFile");
}

void deleteFile(const std::wstring& path) {
    if (!DeleteFileW(path.c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND)
        throwLastError("DeleteFile");
}

// What setupapi notes of an INF that it has installed from stands beside the INF.
std::wstring noteOf(const std::wstring& inf) {
    return inf.substr(0, inf.find_last_of(L'.')) + L".pnf";
}

} // namespace

bool contains(const DriverPackage& package) {
    return GetFileAttributesW((storeFolder() + package.infName).c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The INF comes last: a package that is found is complete.
void add(const DriverPackage& package) {
    remove(package);
    const std::wstring folder = storeFolder();
    try {
        for (const std::wstring& file : package.files)
            copyFile(package.folder + file, folder + file);
        copyFile(package.infPath(), folder + package.infName);
    } catch (...) {
        remove(package);
        throw;
    }
}

void remove(const DriverPackage& package) {
    const std::wstring folder = storeFolder();
    deleteFile(folder + package.infName);
    deleteFile(noteOf(folder + package.infName));
    for (const std::wstring& file : package.files)
        deleteFile(folder + file);
}

} // namespace zorvan::devkit::driverStore
