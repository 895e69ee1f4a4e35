#include "registry_snapshot.h"

#include "base/hresult_error.h"
#include "base/unique.h"

#include <algorithm>
#include <cwctype>
#include <iterator>
#include <vector>

namespace zorvan::test {

namespace {

std::wstring dataText(DWORD type, const BYTE* data, std::size_t size) {
    std::wstring text{L"0123456789abcdef"[type & 15], L' '};
    const bool isText = type == REG_SZ || type == REG_MULTI_SZ;
    for (std::size_t i = 0; i + (isText ? 1 : 0) < size; i += isText ? 2 : 1)
        if (!isText)
            text.append({L"0123456789abcdef"[data[i] >> 4], L"0123456789abcdef"[data[i] & 15]});
        else
            text += data[i] == 0 && data[i + 1] == 0 ? L'|' : static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    return text;
}

// Whether an enumeration has come to one more item.
bool isItem(LSTATUS status) {
    if (status != ERROR_SUCCESS && status != ERROR_NO_MORE_ITEMS)
        throw HResultError(hresultFromWin32(static_cast<DWORD>(status)));
    return status == ERROR_SUCCESS;
}

class Collector {
public:
    void collect(HKEY key, const std::wstring& path) {
        collectValues(key, path);
        wchar_t name[256] = L"";
        for (DWORD i = 0, length = 256;
             isItem(RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr)); ++i, length = 256) {
            const std::wstring subpath = path.empty() ? name : path + L"\\" + name;
            UniqueRegistryKey subkey;
            if (subpath == L"Wow6432Node" || RegOpenKeyExW(key, name, 0, KEY_READ, subkey.put()) != ERROR_SUCCESS)
                continue;
            lines_.insert(keyLine(subpath));
            collect(subkey.get(), subpath);
        }
    }

    Snapshot lines_;

private:
    void collectValues(HKEY key, const std::wstring& path) {
        for (DWORD i = 0;; ++i) {
            DWORD type = 0;
            auto length = static_cast<DWORD>(name_.size());
            auto size = static_cast<DWORD>(data_.size());
            if (!isItem(RegEnumValueW(key, i, name_.data(), &length, nullptr, &type, data_.data(), &size)))
                return;
            lines_.insert(
                valueLine(path, length == 0 ? L"@" : name_.substr(0, length), dataText(type, data_.data(), size)));
        }
    }

    std::wstring name_ = std::wstring(16384, L'\0'); // the longest that there can be
    std::vector<BYTE> data_ = std::vector<BYTE>(1 << 20);
};

} // namespace

std::wstring keyLine(std::wstring path) {
    std::transform(path.begin(), path.end(), path.begin(), towlower);
    return path;
}

std::wstring valueLine(const std::wstring& path, const std::wstring& name, const std::wstring& data) {
    return keyLine(path) + L" : " + name + L" = " + data;
}

Snapshot takeSnapshot(HKEY root, const std::wstring& path) {
    Collector collector;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS)
        collector.collect(key.get(), L"");
    return collector.lines_;
}

Snapshot operator-(const Snapshot& first, const Snapshot& second) {
    Snapshot result;
    std::set_difference(
        first.begin(), first.end(), second.begin(), second.end(), std::inserter(result, result.end()));
    return result;
}

} // namespace zorvan::test
