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

struct OpenedKey : NoKernelObject {
    OpenedKey(RegistryKey& opened, REGSAM rights, const std::wstring& owner)
        : NoKernelObject("key of " + describe(owner)), key(opened), access(rights) {}

    RegistryKey& key;
    const REGSAM access;
};

// The key of a handle that carries these rights.
RegistryKey& keyOf(const Call& call, HKEY handle, REGSAM rights = 0) {
    if (handle == HKEY_CLASSES_ROOT)
        return call->registry.classesRoot;
    if (handle == HKEY_CURRENT_USER)
        return call->registry.currentUser;
    if (handle == HKEY_LOCAL_MACHINE)
        return call->registry.localMachine;
    const auto opened = call.object<OpenedKey>(handle);
    failIf((opened->access & rights) != rights, ERROR_ACCESS_DENIED);
    return opened->key;
}

// An entry of a key's values, or of its subkeys.
template <class Entries>
auto entryOf(Entries& entries, LPCWSTR name) {
    const auto found = entries.find(name);
    failIf(found == entries.end(), ERROR_FILE_NOT_FOUND);
    return found;
}

SIMULATE(
    OrError<LSTATUS>, RegCreateKeyExW, HKEY handle, LPCWSTR name, DWORD, LPWSTR, DWORD, REGSAM access,
    const LPSECURITY_ATTRIBUTES, PHKEY created, LPDWORD disposition) {
    const auto [child, isNew] = keyOf(call, handle).keys.try_emplace(name);
    if (disposition != nullptr)
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    *created = openKey(call, child->second, access, name);
}

SIMULATE(OrError<LSTATUS>, RegOpenKeyExW, HKEY handle, LPCWSTR name, DWORD, REGSAM access, PHKEY opened) {
    *opened = openKey(call, entryOf(keyOf(call, handle).keys, name)->second, access, name);
}

SIMULATE(
    OrError<LSTATUS>, RegEnumKeyExW, HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD,
    PFILETIME) {
    const auto& keys = keyOf(call, handle).keys;
    failIf(index >= keys.size(), ERROR_NO_MORE_ITEMS);
    const auto& found = std::next(keys.begin(), static_cast<std::ptrdiff_t>(index))->first;
    failIf(found.size() >= *length, ERROR_MORE_DATA);
    std::copy_n(found.c_str(), found.size() + 1, name);
    *length = static_cast<DWORD>(found.size());
}

void deleteKey(const Call& call, HKEY handle, LPCWSTR name) {
    auto& key = keyOf(call, handle);
    const auto child = entryOf(key.keys, name);
    failIf(!child->second.keys.empty(), ERROR_ACCESS_DENIED);
    key.keys.erase(child);
}

SIMULATE(OrError<LSTATUS>, RegDeleteKeyW, HKEY handle, LPCWSTR name) {
    deleteKey(call, handle, name);
}

SIMULATE(OrError<LSTATUS>, RegDeleteKeyExW, HKEY handle, LPCWSTR name, REGSAM, DWORD) {
    deleteKey(call, handle, name);
}

SIMULATE(
    OrError<LSTATUS>, RegQueryValueExW, HKEY handle, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
    const auto& value = entryOf(keyOf(call, handle, KEY_QUERY_VALUE).values, name)->second;
    if (type != nullptr)
        *type = value.type;
    const auto needed = static_cast<DWORD>(call.bring(value.bytes.size()));
    const DWORD room = std::exchange(*size, needed);
    if (data == nullptr)
        return;
    failIf(room < needed, ERROR_MORE_DATA);
    std::copy_n(value.bytes.begin(), needed, data);
}

SIMULATE(
    OrError<LSTATUS>, RegSetValueExW, HKEY handle, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    keyOf(call, handle, KEY_SET_VALUE).values[name] = {type, {data, data + size}};
}

SIMULATE_SURE(OrError<LSTATUS>, RegCloseKey, HKEY handle) {
    call.close<OpenedKey>(handle);
}

} // namespace

HKEY openKey(const Call& call, RegistryKey& key, REGSAM access, const std::wstring& owner) {
    return static_cast<HKEY>(call.open(std::make_shared<OpenedKey>(key, access, owner)));
}

} // namespace zorvan::simulation
