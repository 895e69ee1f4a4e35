// Keys of the simulated registry: the hardware keys of devices, and what programs register.
#pragma once

#include "simulation/handle_table.h"

#include <cstdint>
#include <cwchar>
#include <map>
#include <set>

namespace zorvan::simulation {

struct RegistryValue {
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> bytes;
};

// A REG_SZ value with its terminator.
RegistryValue textValue(const std::wstring& text, DWORD type = REG_SZ);

struct NameOrder {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return _wcsicmp(left.c_str(), right.c_str()) < 0;
    }
};

struct RegistryKey {
    bool exists = true;
    DWORD openError = ERROR_SUCCESS; // opening and creating it fail with this
    std::map<std::wstring, RegistryValue> values;
    std::map<std::wstring, RegistryKey, NameOrder> keys;

    // The text of a value up to its first NUL; empty when there is none.
    std::wstring text(const std::wstring& name) const;
};

struct OpenedKey : NoKernelObject {
    OpenedKey(RegistryKey& opened, REGSAM rights, std::string owner)
        : key(opened), access(rights), owner_(std::move(owner)) {}
    std::string description() const override { return "key of " + owner_; }

    RegistryKey& key;
    const REGSAM access;

private:
    std::string owner_;
};

struct Registry {
    RegistryKey classesRoot; // a tree of its own, as if nobody had classes for himself
    RegistryKey currentUser;
    RegistryKey localMachine;

    // Type libraries are not spread over keys here.
    std::set<std::string> typeLibraries;
    std::set<std::string> typeLibrariesOfUser;
};

} // namespace zorvan::simulation
