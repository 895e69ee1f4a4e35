// Renaming: the device object's side of it. The steps on the system are pnp::PortRename's.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "pnp/device_information_set.h"
#include "pnp/port_name.h"
#include "pnp/port_rename.h"

#include <optional>
#include <shared_mutex>

namespace zorvan {

HRESULT CVirtualSerialDevice::put_portName(BSTR portName) noexcept {
    return comBoundary([&] {
        const ComPointer<CVirtualSerialDevice> self(this); // a listener may release the caller's reference
        const std::wstring newName = nulTerminated(portName);
        std::optional<pnp::PortRename> renaming; // what it holds of the system is let go after the report
        {
            const HeldLock name(nameLock_);
            renaming.emplace(cachedPortName(), newName);
            rename(name, *renaming, newName);
        }
        library_.portNameChanged(this); // the port has its new name, whatever becomes of the report
    });
}

void CVirtualSerialDevice::rename(const HeldLock&, pnp::PortRename& renaming, const std::wstring& newName) {
    // Oddity 5 of docs/architecture.md.
    if (!renaming.found())
        return;
    renaming.claimNewNumber();
    renaming.removeOldDosName();
    renaming.writeName();
    cachePortName(newName);
    // Oddity 17 of docs/architecture.md.
    if (renaming.renameFriendly())
        driver::sendSet(
            controlPath(), protocol::Set::PortName, protocol::RecordWriter().appendString(newName).bytes());
    renaming.closeKey();
}

bool CVirtualSerialDevice::refreshPortName() noexcept {
    try {
        // Not waited for: the driver may never answer the rename that holds it.
        const HeldLock name(nameLock_, std::try_to_lock);
        const auto current = name ? systemPortName(name) : std::wstring();
        if (current.empty() || current == cachedPortName())
            return false;
        cachePortName(current);
        return true;
    } catch (...) {
        return false; // the name that is known stays
    }
}

// Finding the key takes many times as long as reading it. A key that holds no name is that of a node that is gone.
std::wstring CVirtualSerialDevice::systemPortName(const HeldLock&) {
    auto name = nameKey_ ? pnp::readPortName(nameKey_.get()) : std::wstring();
    if (name.empty()) {
        nameKey_ = pnp::openHardwareKey(identity_.instanceId); // which never changes
        if (nameKey_)
            name = pnp::readPortName(nameKey_.get());
    }
    return name;
}

std::wstring CVirtualSerialDevice::cachedPortName() const {
    const std::shared_lock lock(identityLock_);
    return identity_.portName;
}

void CVirtualSerialDevice::cachePortName(const std::wstring& portName) {
    const HeldLock lock(identityLock_);
    identity_.portName = portName;
}

} // namespace zorvan
