// The ports that the library knows, and how it learns which have come and gone.
#pragma once

#include "base/com_pointer.h"
#include "base/slim_lock.h"
#include "device/device_snapshot.h"
#include "events/event_thread.h"
#include "events/publisher.h"
#include "pnp/enumeration.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace zorvan {

// Any thread may call anything here. Locks are taken in the order in which they are declared. A refresh takes no COM
// reference: the library's last one may go while its event thread refreshes.
class DeviceMap {
public:
    DeviceMap(IDeviceLibrary& library, Publisher& publisher) : library_(library), publisher_(publisher) {}
    DeviceMap(const DeviceMap&) = delete;
    DeviceMap& operator=(const DeviceMap&) = delete;

    // Compares the map with the system: drops the devices that are gone, after marking them deleted, and opens those
    // that are new. A device that does not open is left out and tried again by the next refresh. Then tells the
    // publisher: added devices before deleted ones, with the refresh lock still held, so that reports come in order.
    void refresh() { refreshWithout(nullptr); }

    // Refreshes once a new node has been made, with this instance ID, if the map holds one of the devices known
    // before under it. The system gives the ID of a deleted node to the next one; a refresh that was not in time to
    // miss the deleted node's device takes it for the new one's.
    void dropPredecessor(const std::wstring& instanceId, const DeviceSnapshot& knownBefore);

    // The notification event of each device that has one, in the map's order.
    std::vector<WaitedDevice> duplicateEvents() const;

    DeviceSnapshot snapshot() const;

    // The device with this instance ID; none when it is not in the map.
    DeviceHold find(const std::wstring& instanceId) const;

    // The device with this number; null when it is not in the map.
    ComPointer<IVirtualSerialDevice> findByNumber(DWORD number) const;

private:
    static constexpr std::size_t kInitialBuckets = 8;
    using Entries = std::unordered_map<std::wstring, DeviceHold>;

    // This device, if any, is gone, whatever the system says of its instance ID.
    void refreshWithout(const CVirtualSerialDevice* gone);

    DeviceHolds removeMissing(const HeldLock&, const pnp::PresentDevices& present, const CVirtualSerialDevice* gone);
    void addNew(const HeldLock& map, pnp::PresentDevices& present, DeviceHolds& added);
    DeviceHold add(const HeldLock&, HDEVINFO set, pnp::PresentDevice& record);

    IDeviceLibrary& library_;
    Publisher& publisher_;
    SlimLock refreshLock_; // one refresh at a time
    mutable SlimLock mapLock_;
    Entries entries_{kInitialBuckets};
};

} // namespace zorvan
