#include "com/names.h"

#include "com/failure.h"
#include "com/text.h"

#include <algorithm>

namespace portwright {

// In the order of FileCreationMode, which begins with 1.
const std::vector<std::string>& fileCreationModes() {
    static const std::vector<std::string> kModes{
        "create-new", "create-always", "open-existing", "open-always", "truncate-existing"};
    return kModes;
}

std::optional<FileCreationMode> fileCreationMode(std::string_view words) {
    const auto& modes = fileCreationModes();
    const auto found = std::find(modes.begin(), modes.end(), words);
    if (found == modes.end())
        return std::nullopt;
    return static_cast<FileCreationMode>(found - modes.begin() + CTF_CreateNew);
}

std::string pipePath(const std::string& name) {
    return name.starts_with(R"(\\)") ? name : R"(\\.\pipe\)" + name;
}

std::string fullPath(const std::string& path) {
    const auto given = wide(path);
    std::wstring result(MAX_PATH, L'\0');
    DWORD length = 0;
    while ((length = GetFullPathNameW(given.c_str(), static_cast<DWORD>(result.size()), result.data(), nullptr)) >
           result.size())
        result.resize(length);
    if (length == 0)
        throwLastError("find the file " + path);
    result.resize(length);
    return utf8(result);
}

std::string withDrive(const std::string& path) {
    std::string found;
    const DWORD drives = GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const auto candidate = std::string(1, letter) + ":" + path;
        if ((drives >> (letter - 'A') & 1) == 0 ||
            GetFileAttributesW(wide(candidate).c_str()) == INVALID_FILE_ATTRIBUTES)
            continue;
        if (!found.empty())
            return path;
        found = candidate;
    }
    return found.empty() ? path : found;
}

std::string withoutDrive(const std::string& path) {
    return path.size() > 1 && path[1] == ':' ? path.substr(2) : path;
}

bool sameName(std::string_view a, std::string_view b) {
    return CompareStringOrdinal(wide(a).c_str(), -1, wide(b).c_str(), -1, TRUE) == CSTR_EQUAL;
}

} // namespace portwright
