// Keys of the simulated registry: the hardware keys of devices, and what programs register.
#pragma once

#include "simulation/call.h"

#include <cstdint>
#include <map>
#include <set>

namespace zorvan::simulation {

struct RegistryValue {
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> bytes;
};

// A REG_SZ value with its terminator.
RegistryValue textValue(const std::wstring& text, DWORD type = REG_SZ);

struct RegistryKey {
    bool exists = true;
    DWORD openError = ERROR_SUCCESS; // opening and creating it fail with this
    std::map<std::wstring, RegistryValue> values;
    std::map<std::wstring, RegistryKey> keys;

    // The text of a value up to its first NUL; empty when there is none.
    std::wstring text(const std::wstring& name) const;
};

// Gives the library a handle for this key.
HKEY openKey(const Call& call, RegistryKey& key, REGSAM access, const std::wstring& owner);

struct Registry {
    RegistryKey classesRoot; // a tree of its own, as if nobody had classes for himself
    RegistryKey currentUser;
    RegistryKey localMachine;

    // Type libraries are not spread over keys here.
    std::set<std::string> typeLibraries;
    std::set<std::string> typeLibrariesOfUser;
};

} // namespace zorvan::simulation
