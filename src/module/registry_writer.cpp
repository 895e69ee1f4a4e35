#include "module/registry_writer.h"

#include "base/hresult_error.h"
#include "base/unique.h"

#include <windows.h>

#include <algorithm>
#include <bit>
#include <utility>

namespace zorvan::registration {

namespace {

void throwIfError(LSTATUS status) {
    if (status != ERROR_SUCCESS)
        throw HResultError(hresultFromWin32(static_cast<DWORD>(status)));
}

HKEY predefinedKey(RegistryRoot root) {
    // The handles of predefined keys are sign-extended.
    return std::bit_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(root)));
}

UniqueRegistryKey createKey(HKEY parent, const std::wstring& name) {
    UniqueRegistryKey key;
    throwIfError(RegCreateKeyExW(
        parent, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr, key.put(),
        nullptr));
    return key;
}

// No key when there is none of this name.
UniqueRegistryKey openKey(HKEY parent, const std::wstring& name) {
    UniqueRegistryKey key;
    const LSTATUS status = RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ, key.put());
    if (status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND)
        throwIfError(status);
    return key;
}

LSTATUS callDeleteKey(HKEY parent, const wchar_t* name) {
    // Looked up, so that the module also loads on a system that lacks it.
    using RegDeleteKeyExWFunction = LSTATUS WINAPI(HKEY, LPCWSTR, REGSAM, DWORD);
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"Advapi32.dll"), "RegDeleteKeyExW");
    if (function == nullptr)
        return RegDeleteKeyW(parent, name);
    return std::bit_cast<RegDeleteKeyExWFunction*>(function)(parent, name, 0, 0);
}

// The key must have no subkeys.
void deleteKey(HKEY parent, const std::wstring& name) {
    const LSTATUS status = callDeleteKey(parent, name.c_str());
    if (status != ERROR_FILE_NOT_FOUND)
        throwIfError(status);
}

// Empty when there is no subkey; no key has an empty name.
std::wstring firstSubkey(HKEY key) {
    constexpr DWORD kLongestKeyName = 255;
    wchar_t name[kLongestKeyName + 1];
    DWORD length = kLongestKeyName + 1;
    const LSTATUS status = RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS)
        return {};
    throwIfError(status);
    return {name, length};
}

void deleteSubtree(HKEY parent, const std::wstring& name);

void deleteSubkeys(HKEY key) {
    std::wstring deleted;
    for (std::wstring subkey = firstSubkey(key); !subkey.empty(); subkey = firstSubkey(key)) {
        // One that is listed but not found, such as a link that leads nowhere, would be listed for ever.
        if (subkey == deleted)
            throwIfError(ERROR_FILE_NOT_FOUND);
        deleteSubtree(key, subkey);
        deleted = std::move(subkey);
    }
}

void deleteSubtree(HKEY parent, const std::wstring& name) {
    const UniqueRegistryKey key = openKey(parent, name);
    if (!key)
        return;
    deleteSubkeys(key.get());
    deleteKey(parent, name);
}

void writeValue(HKEY key, const RegistryValue& value) {
    throwIfError(RegSetValueExW(
        key, value.name.c_str(), 0, static_cast<DWORD>(value.type), value.data.data(),
        static_cast<DWORD>(value.data.size())));
}

void writeKey(HKEY parent, const RegistryKey& key);

void writeContents(HKEY key, const std::vector<RegistryValue>& values, const std::vector<RegistryKey>& keys) {
    for (const RegistryValue& value : values)
        writeValue(key, value);
    for (const RegistryKey& subkey : keys)
        writeKey(key, subkey);
}

void writeKey(HKEY parent, const RegistryKey& key) {
    if (key.rule == KeyRule::ForceRemove || key.rule == KeyRule::Delete)
        deleteSubtree(parent, key.name);
    if (key.rule != KeyRule::Delete)
        writeContents(createKey(parent, key.name).get(), key.values, key.keys);
}

// Whether the key, or one below it, is never deleted.
bool isKept(const RegistryKey& key) {
    return key.rule == KeyRule::NoRemove || std::any_of(key.keys.begin(), key.keys.end(), isKept);
}

void removeKey(HKEY parent, const RegistryKey& key) {
    if (key.rule == KeyRule::ForceRemove || !isKept(key)) {
        deleteSubtree(parent, key.name);
        return;
    }
    const UniqueRegistryKey opened = openKey(parent, key.name);
    if (!opened)
        return;
    for (const RegistryKey& subkey : key.keys)
        removeKey(opened.get(), subkey);
}

} // namespace

void writeTrees(const std::vector<RegistryTree>& trees) {
    for (const RegistryTree& tree : trees)
        writeContents(predefinedKey(tree.root), tree.values, tree.keys);
}

void removeTrees(const std::vector<RegistryTree>& trees) {
    for (const RegistryTree& tree : trees)
        for (const RegistryKey& key : tree.keys)
            removeKey(predefinedKey(tree.root), key);
}

} // namespace zorvan::registration
