// The steps of renaming a port. The caller takes them in the order in which they are declared.
#pragma once

#include "base/unique.h"
#include "pnp/device_information_set.h"
#include "pnp/port_database.h"

#include <cstdint>
#include <string>

namespace zorvan::pnp {

class PortRename {
public:
    // Looks for the present device that carries the old name. Throws E_FAIL when the new name's number belongs to a
    // present serial port or the port database does not open; nothing is changed then. A new name without a number is
    // not refused.
    PortRename(std::wstring oldName, std::wstring newName);

    // Whether a present device carries the old name. Without one there is nothing to rename.
    bool found() const { return static_cast<bool>(key_); }

    // Moves the reservation in the port database; its answers are not looked at.
    void claimNewNumber() const;

    // Programs can no longer open the old name. Oddity 22 of docs/architecture.md.
    void removeOldDosName() const;

    // Writes `PortName`. When that fails, closes the key, moves the reservation back and throws E_FAIL.
    void writeName();

    // Puts the new name into the friendly name. False when that does not mention the old one or cannot be changed.
    bool renameFriendly();

    // When the driver has been told. Everything else is closed by the end of this object.
    void closeKey() { key_.reset(); }

private:
    void findDevice();

    const std::wstring oldName_;
    const std::wstring newName_;
    DeviceInformationSet set_;
    PortDatabase database_;
    SP_DEVINFO_DATA device_{};
    UniqueRegistryKey key_; // the found device's hardware key
};

} // namespace zorvan::pnp
