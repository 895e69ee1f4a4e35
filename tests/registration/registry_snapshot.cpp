#include "registration/registry_snapshot.h"

#include "base/hresult_error.h"
#include "base/unique.h"

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <vector>

namespace zorvan::test {

namespace {

void throwIfError(LSTATUS status) {
    if (status != ERROR_SUCCESS)
        throw HResultError(hresultFromWin32(static_cast<DWORD>(status)));
}

// Calls next(index) until it says that there are no more items.
template <class Next>
void forEachItem(Next&& next) {
    for (DWORD index = 0;; ++index) {
        const LSTATUS status = next(index);
        if (status == ERROR_NO_MORE_ITEMS)
            return;
        throwIfError(status);
    }
}

std::wstring dataText(DWORD type, const std::vector<BYTE>& data) {
    std::wstring text;
    if (type == REG_SZ || type == REG_MULTI_SZ)
        for (std::size_t i = 0; i + 1 < data.size(); i += 2)
            text += data[i] == 0 && data[i + 1] == 0 ? L'|' : static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    else
        for (const BYTE byte : data)
            text.append({L"0123456789abcdef"[byte >> 4], L"0123456789abcdef"[byte & 0xF]});
    switch (type) {
    case REG_SZ:
        return L"s " + text;
    case REG_MULTI_SZ:
        return L"m " + text;
    case REG_DWORD:
        return L"d " + text;
    case REG_BINARY:
        return L"b " + text;
    default:
        return std::to_wstring(type) + L" " + text;
    }
}

void collectValues(HKEY key, const std::wstring& path, Snapshot& lines) {
    DWORD longestName = 0;
    DWORD longestData = 0;
    throwIfError(RegQueryInfoKeyW(
        key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longestName, &longestData, nullptr,
        nullptr));
    std::wstring name(longestName + 1, L'\0');
    std::vector<BYTE> data(longestData + 1);
    forEachItem([&](DWORD index) {
        auto nameLength = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        const LSTATUS status =
            RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type, data.data(), &size);
        if (status == ERROR_SUCCESS)
            lines.insert(valueLine(
                path, nameLength == 0 ? L"@" : name.substr(0, nameLength),
                dataText(type, {data.begin(), data.begin() + size})));
        return status;
    });
}

void collect(HKEY key, const std::wstring& path, Snapshot& lines) {
    collectValues(key, path, lines);
    forEachItem([&](DWORD index) {
        wchar_t name[256] = {};
        DWORD length = 256;
        const LSTATUS status = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        const std::wstring subpath = path.empty() ? name : path + L"\\" + name;
        UniqueRegistryKey subkey;
        if (status == ERROR_SUCCESS && subpath != L"Wow6432Node" &&
            RegOpenKeyExW(key, name, 0, KEY_READ, subkey.put()) == ERROR_SUCCESS) {
            lines.insert(keyLine(subpath));
            collect(subkey.get(), subpath, lines);
        }
        return status;
    });
}

} // namespace

std::wstring keyLine(std::wstring path) {
    std::transform(path.begin(), path.end(), path.begin(), towlower);
    return path;
}

std::wstring valueLine(const std::wstring& path, const std::wstring& name, const std::wstring& data) {
    return keyLine(path) + L" : " + name + L" = " + data;
}

Snapshot takeSnapshot(HKEY root, const std::wstring& path, const std::wstring& subkey) {
    Snapshot lines;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(root, (path + L"\\" + subkey).c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return lines;
    if (!subkey.empty())
        lines.insert(keyLine(subkey));
    collect(key.get(), subkey, lines);
    return lines;
}

Snapshot operator-(const Snapshot& first, const Snapshot& second) {
    Snapshot result;
    std::set_difference(
        first.begin(), first.end(), second.begin(), second.end(), std::inserter(result, result.end()));
    return result;
}

} // namespace zorvan::test
