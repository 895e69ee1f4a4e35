#include "simulation/registry.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>
#include <cstring>

namespace zorvan::simulation {

RegistryValue textValue(const std::wstring& text, DWORD type) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
    return {type, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)}};
}

std::wstring RegistryKey::text(const std::wstring& name) const {
    const auto value = values.find(name);
    if (value == values.end())
        return {};
    std::wstring text(value->second.bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value->second.bytes.data(), text.size() * sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

namespace {

// Keys that the simulation has not given out are the real registry's: registration uses it.
bool isReal(HKEY key) {
    return !HandleTable::isSimulated(key);
}

LSTATUS copyOut(const RegistryValue& value, LPBYTE data, LPDWORD size) {
    const auto needed = static_cast<DWORD>(value.bytes.size());
    const DWORD room = size == nullptr ? 0 : *size;
    if (size != nullptr)
        *size = needed;
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (room < needed)
        return ERROR_MORE_DATA;
    std::copy(value.bytes.begin(), value.bytes.end(), data);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI regQueryValue(HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    if (isReal(handle))
        return ::RegQueryValueExW(handle, name, reserved, type, data, size);
    Call call("RegQueryValueExW", handle, name, size == nullptr ? 0 : *size);
    const auto opened = call.object<OpenedKey>(handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return static_cast<LSTATUS>(*call.failure());
    if ((opened->access & KEY_QUERY_VALUE) == 0)
        return ERROR_ACCESS_DENIED;
    const auto found = opened->key.values.find(name);
    if (found == opened->key.values.end())
        return ERROR_FILE_NOT_FOUND;
    auto value = found->second;
    value.bytes.resize(call.bring(value.bytes.size()));
    if (type != nullptr)
        *type = value.type;
    return copyOut(value, data, size);
}
SIMULATE(RegQueryValueExW, regQueryValue);

LSTATUS WINAPI regSetValue(HKEY handle, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (isReal(handle))
        return ::RegSetValueExW(handle, name, reserved, type, data, size);
    RegistryKey written;
    written.values[name] = {type, {data, data + size}};
    Call call("RegSetValueExW", handle, name, type, written.text(name), size);
    const auto opened = call.object<OpenedKey>(handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return static_cast<LSTATUS>(*call.failure());
    if ((opened->access & KEY_SET_VALUE) == 0)
        return ERROR_ACCESS_DENIED;
    opened->key.values[name] = written.values[name];
    return ERROR_SUCCESS;
}
SIMULATE(RegSetValueExW, regSetValue);

LSTATUS WINAPI regCloseKey(HKEY handle) {
    if (isReal(handle))
        return ::RegCloseKey(handle);
    Call call("RegCloseKey", static_cast<HANDLE>(handle));
    if (call.object<OpenedKey>(handle) == nullptr)
        return ERROR_INVALID_HANDLE;
    call.close(handle);
    return static_cast<LSTATUS>(call.failure().value_or(ERROR_SUCCESS));
}
SIMULATE(RegCloseKey, regCloseKey);

} // namespace

} // namespace zorvan::simulation
