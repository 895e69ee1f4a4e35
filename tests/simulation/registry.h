// Keys of the simulated registry: the hardware keys of devices.
#pragma once

#include "simulation/handle_table.h"

#include <cstdint>
#include <map>

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

} // namespace zorvan::simulation
