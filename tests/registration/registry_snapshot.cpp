#include "registration/registry_snapshot.h"

#include "base/hresult_error.h"
#include "base/unique.h"

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <vector>

namespace zorvan::test {

namespace {

struct Value {
    std::wstring name;
    DWORD type;
    std::vector<BYTE> data;
};

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

std::vector<std::wstring> subkeys(HKEY key) {
    std::vector<std::wstring> names;
    forEachItem([&](DWORD index) {
        wchar_t name[256];
        DWORD length = 256;
        const LSTATUS status = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_SUCCESS)
            names.emplace_back(name, length);
        return status;
    });
    return names;
}

std::vector<Value> values(HKEY key) {
    DWORD longestName = 0;
    DWORD longestData = 0;
    throwIfError(RegQueryInfoKeyW(
        key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longestName, &longestData, nullptr,
        nullptr));
    std::vector<Value> result;
    forEachItem([&](DWORD index) {
        Value value{std::wstring(longestName + 1, L'\0'), 0, std::vector<BYTE>(longestData + 1)};
        DWORD nameLength = longestName + 1;
        DWORD dataLength = longestData;
        const LSTATUS status = RegEnumValueW(
            key, index, value.name.data(), &nameLength, nullptr, &value.type, value.data.data(), &dataLength);
        value.name.resize(nameLength);
        value.data.resize(dataLength);
        if (status == ERROR_SUCCESS)
            result.push_back(std::move(value));
        return status;
    });
    return result;
}

std::wstring stringText(const std::vector<BYTE>& data) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
        const auto unit = static_cast<wchar_t>(data[i] | data[i + 1] << 8);
        text += unit == 0 ? L'|' : unit;
    }
    return text;
}

std::wstring hexadecimalText(const std::vector<BYTE>& data) {
    constexpr const wchar_t* kDigits = L"0123456789abcdef";
    std::wstring text;
    for (const BYTE byte : data) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::wstring dataText(const Value& value) {
    switch (value.type) {
    case REG_SZ:
        return L"s " + stringText(value.data);
    case REG_MULTI_SZ:
        return L"m " + stringText(value.data);
    case REG_DWORD:
        return L"d " + hexadecimalText(value.data);
    case REG_BINARY:
        return L"b " + hexadecimalText(value.data);
    default:
        return std::to_wstring(value.type) + L" " + hexadecimalText(value.data);
    }
}

void collect(HKEY key, const std::wstring& path, Snapshot& lines) {
    for (const Value& value : values(key))
        lines.insert(valueLine(path, value.name.empty() ? L"@" : value.name, dataText(value)));
    for (const std::wstring& name : subkeys(key)) {
        const std::wstring subpath = path.empty() ? name : path + L"\\" + name;
        UniqueRegistryKey subkey;
        if (subpath == L"Wow6432Node" || RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, subkey.put()) != ERROR_SUCCESS)
            continue;
        lines.insert(keyLine(subpath));
        collect(subkey.get(), subpath, lines);
    }
}

} // namespace

std::wstring keyLine(std::wstring path) {
    std::transform(path.begin(), path.end(), path.begin(), towlower);
    return path;
}

std::wstring valueLine(const std::wstring& path, const std::wstring& name, const std::wstring& data) {
    return keyLine(path) + L" : " + name + L" = " + data;
}

Snapshot takeSnapshot(HKEY root, const std::wstring& path) {
    Snapshot lines;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS)
        collect(key.get(), {}, lines);
    return lines;
}

Snapshot operator-(const Snapshot& first, const Snapshot& second) {
    Snapshot result;
    std::set_difference(
        first.begin(), first.end(), second.begin(), second.end(), std::inserter(result, result.end()));
    return result;
}

std::string toText(const Snapshot& snapshot) {
    std::string text;
    for (const std::wstring& line : snapshot) {
        for (const wchar_t character : line)
            text += character < 0x80 ? static_cast<char>(character) : '?';
        text += '\n';
    }
    return text;
}

} // namespace zorvan::test
