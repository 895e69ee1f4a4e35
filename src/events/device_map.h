// The ports that the library knows, and how it learns which have come and gone.
#pragma once

#include "base/com_pointer.h"
#include "base/slim_lock.h"
#include "device/virtual_serial_device.h"
#include "pnp/enumeration.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace zorvan {

using DeviceReferences = std::vector<ComPointer<IVirtualSerialDevice>>;

// Any thread may call anything here. Locks are taken in the order in which they are declared.
class DeviceMap {
public:
    explicit DeviceMap(IDeviceLibrary& library) : library_(library) {}
    DeviceMap(const DeviceMap&) = delete;
    DeviceMap& operator=(const DeviceMap&) = delete;

    // Compares the map with the system: drops the devices that are gone, after marking them deleted, and opens those
    // that are new. A device that does not open is left out and tried again by the next refresh.
    void refresh();

    // Every device, each with a reference.
    DeviceReferences snapshot() const;

    // The device with this instance ID; null when it is not in the map.
    ComPointer<IVirtualSerialDevice> find(const std::wstring& instanceId) const;

    // The device with this number; null when it is not in the map.
    ComPointer<IVirtualSerialDevice> findByNumber(DWORD number) const;

private:
    static constexpr std::size_t kInitialBuckets = 8;
    using Entries = std::unordered_map<std::wstring, DeviceHold>;

    // Both need the map lock held for writing.
    Entries removeMissing(const pnp::PresentDevices& present);
    void addNew(pnp::PresentDevices& present);

    IDeviceLibrary& library_;
    SlimLock refreshLock_; // one refresh at a time
    mutable SlimLock mapLock_;
    Entries entries_{kInitialBuckets};
};

} // namespace zorvan
