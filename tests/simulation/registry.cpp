#include "simulation/registry.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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

// Null for the handle of an opened key.
RegistryKey* predefinedKey(Registry& registry, HKEY handle) {
    if (handle == HKEY_CLASSES_ROOT)
        return &registry.classesRoot;
    if (handle == HKEY_CURRENT_USER)
        return &registry.currentUser;
    return handle == HKEY_LOCAL_MACHINE ? &registry.localMachine : nullptr;
}

std::shared_ptr<OpenedKey> keyOf(const Call& call, HKEY handle) {
    if (auto* predefined = predefinedKey(call->registry, handle))
        return std::make_shared<OpenedKey>(*predefined, KEY_ALL_ACCESS, "the system");
    return call.object<OpenedKey>(handle);
}

std::string nameOf(HKEY handle) {
    return HandleTable::isSimulated(handle) ? describe(static_cast<HANDLE>(handle)) : "predefined key";
}

LSTATUS statusOf(DWORD error) {
    return static_cast<LSTATUS>(error);
}

LSTATUS WINAPI regCreateKey(
    HKEY handle, LPCWSTR name, DWORD, LPWSTR, DWORD, REGSAM access, const LPSECURITY_ATTRIBUTES, PHKEY created,
    LPDWORD disposition) {
    Call call("RegCreateKeyExW", nameOf(handle), name, Hex{access});
    const auto opened = keyOf(call, handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
    const auto [child, isNew] = opened->key.keys.try_emplace(name);
    if (disposition != nullptr)
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    *created = static_cast<HKEY>(call.open(std::make_shared<OpenedKey>(child->second, access, describe(name))));
    return ERROR_SUCCESS;
}
SIMULATE(RegCreateKeyExW, regCreateKey);

LSTATUS WINAPI regOpenKey(HKEY handle, LPCWSTR name, DWORD, REGSAM access, PHKEY result) {
    Call call("RegOpenKeyExW", nameOf(handle), name, Hex{access});
    const auto opened = keyOf(call, handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
    const auto child = opened->key.keys.find(name);
    if (child == opened->key.keys.end())
        return ERROR_FILE_NOT_FOUND;
    *result = static_cast<HKEY>(call.open(std::make_shared<OpenedKey>(child->second, access, describe(name))));
    return ERROR_SUCCESS;
}
SIMULATE(RegOpenKeyExW, regOpenKey);

LSTATUS WINAPI
regEnumKey(HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD, PFILETIME) {
    Call call("RegEnumKeyExW", nameOf(handle), index);
    const auto opened = keyOf(call, handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
    if (index >= opened->key.keys.size())
        return ERROR_NO_MORE_ITEMS;
    const auto& found = std::next(opened->key.keys.begin(), static_cast<std::ptrdiff_t>(index))->first;
    if (found.size() >= *length)
        return ERROR_MORE_DATA;
    std::copy_n(found.c_str(), found.size() + 1, name);
    *length = static_cast<DWORD>(found.size());
    return ERROR_SUCCESS;
}
SIMULATE(RegEnumKeyExW, regEnumKey);

LSTATUS deleteKey(const Call& call, HKEY handle, LPCWSTR name) {
    const auto opened = keyOf(call, handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
    const auto child = opened->key.keys.find(name);
    if (child == opened->key.keys.end())
        return ERROR_FILE_NOT_FOUND;
    if (!child->second.keys.empty())
        return ERROR_ACCESS_DENIED;
    opened->key.keys.erase(child);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI regDeleteKey(HKEY handle, LPCWSTR name) {
    Call call("RegDeleteKeyW", nameOf(handle), name);
    return deleteKey(call, handle, name);
}
SIMULATE(RegDeleteKeyW, regDeleteKey);

LSTATUS WINAPI regDeleteKeyEx(HKEY handle, LPCWSTR name, REGSAM, DWORD) {
    Call call("RegDeleteKeyExW", nameOf(handle), name);
    return deleteKey(call, handle, name);
}
SIMULATE(RegDeleteKeyExW, regDeleteKeyEx);

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

LSTATUS WINAPI regQueryValue(HKEY handle, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
    Call call("RegQueryValueExW", handle, name, size == nullptr ? 0 : *size);
    const auto opened = call.object<OpenedKey>(handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
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

LSTATUS WINAPI regSetValue(HKEY handle, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    RegistryKey written;
    written.values[name] = {type, {data, data + size}};
    Call call("RegSetValueExW", handle, name, type, written.text(name), size);
    const auto opened = call.object<OpenedKey>(handle);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (call.failure())
        return statusOf(*call.failure());
    if ((opened->access & KEY_SET_VALUE) == 0)
        return ERROR_ACCESS_DENIED;
    opened->key.values[name] = written.values[name];
    return ERROR_SUCCESS;
}
SIMULATE(RegSetValueExW, regSetValue);

LSTATUS WINAPI regCloseKey(HKEY handle) {
    Call call("RegCloseKey", static_cast<HANDLE>(handle));
    if (call.object<OpenedKey>(handle) == nullptr)
        return ERROR_INVALID_HANDLE;
    call.close(handle);
    return statusOf(call.failure().value_or(ERROR_SUCCESS));
}
SIMULATE(RegCloseKey, regCloseKey);

} // namespace

} // namespace zorvan::simulation
