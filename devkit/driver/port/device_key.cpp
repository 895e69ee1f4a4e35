#include "device_key.h"

#include "windows_error.h"

namespace zorvan::engine {

DeviceKey::DeviceKey(HKEY key) {
    devkit::throwIfFailed(
        RegOpenKeyExW(key, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, key_.put()),
        "RegOpenKeyEx of the hardware key");
}

std::optional<std::wstring> DeviceKey::readText(const wchar_t* name) const {
    DWORD size = 0;
    if (RegGetValueW(key_.get(), nullptr, name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return std::nullopt;
    std::wstring text(size / sizeof(wchar_t), L'\0');
    if (RegGetValueW(key_.get(), nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS)
        return std::nullopt;
    return text.c_str();
}

void DeviceKey::writeText(const wchar_t* name, const std::wstring& text) {
    write(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void DeviceKey::write(const wchar_t* name, DWORD type, const void* data, std::size_t size) {
    devkit::throwIfFailed(
        RegSetValueExW(key_.get(), name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)),
        "RegSetValueEx in the hardware key");
}

} // namespace zorvan::engine
