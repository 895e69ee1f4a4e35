// Renaming: the device object's side of it. The steps on the system are pnp::PortRename's.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "pnp/port_rename.h"

#include <mutex>
#include <shared_mutex>

namespace zorvan {

HRESULT CVirtualSerialDevice::put_portName(BSTR portName) noexcept {
    return comBoundary([&] {
        const ComPointer<CVirtualSerialDevice> self(this); // a listener may release the caller's reference
        rename(nulTerminated(portName));
        library_.portNameChanged(this); // the port has its new name, whatever becomes of the report
    });
}

void CVirtualSerialDevice::rename(const std::wstring& newName) {
    const std::unique_lock naming(nameLock_);
    pnp::PortRename renaming(cachedPortName(), newName);
    // A device that is gone is no error, and the change is reported all the same. Intended.
    if (!renaming.found())
        return;
    renaming.claimNewNumber();
    renaming.removeOldDosName();
    renaming.writeName();
    cachePortName(newName);
    // The driver is told last and only of a name that the system shows everywhere. Intended: a friendly name that
    // does not mention the port keeps the driver from being told.
    if (renaming.renameFriendly())
        driver::sendSet(
            controlPath(), protocol::Set::PortName, protocol::RecordWriter().appendString(newName).bytes());
}

BOOL CVirtualSerialDevice::refreshPortName() noexcept {
    try {
        const std::unique_lock naming(nameLock_);
        const auto current = pnp::currentPortName(identity_.instanceId); // which never changes
        if (current.empty() || current == cachedPortName())
            return FALSE;
        cachePortName(current);
        return TRUE;
    } catch (...) {
        return FALSE; // the name that is known stays
    }
}

std::wstring CVirtualSerialDevice::cachedPortName() const {
    const std::shared_lock lock(identityLock_);
    return identity_.portName;
}

void CVirtualSerialDevice::cachePortName(const std::wstring& portName) {
    const std::unique_lock lock(identityLock_);
    identity_.portName = portName;
}

} // namespace zorvan
