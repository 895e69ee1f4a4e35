#include "events/device_map.h"

#include "base/hresult_error.h"
#include "pnp/opening.h"

#include <mutex>
#include <shared_mutex>

namespace zorvan {

void DeviceMap::refresh() {
    const std::unique_lock refreshing(refreshLock_);
    auto present = pnp::enumeratePresentDevices();

    Entries removed; // destroyed after the map lock is released
    const std::unique_lock writing(mapLock_);
    removed = removeMissing(present);
    addNew(present);
}

DeviceMap::Entries DeviceMap::removeMissing(const pnp::PresentDevices& present) {
    Entries removed;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        const auto current = entry++;
        if (present.contains(current->first))
            continue;
        current->second.get()->markDeleted();
        removed.insert(entries_.extract(current));
    }
    return removed;
}

void DeviceMap::addNew(pnp::PresentDevices& present) {
    for (auto& record : present.records) {
        if (entries_.contains(record.instanceId))
            continue;
        try {
            auto identity = pnp::openDevice(present.set.get(), record.device, record.instanceId);
            entries_.emplace(record.instanceId, CVirtualSerialDevice::create(library_, std::move(identity)));
        } catch (const HResultError&) {
            // The device is going away again or not ready yet.
            continue;
        }
    }
}

DeviceReferences DeviceMap::snapshot() const {
    const std::shared_lock reading(mapLock_);
    DeviceReferences devices;
    devices.reserve(entries_.size());
    for (const auto& [instanceId, device] : entries_)
        devices.emplace_back(device.get());
    return devices;
}

ComPointer<IVirtualSerialDevice> DeviceMap::find(const std::wstring& instanceId) const {
    const std::shared_lock reading(mapLock_);
    const auto found = entries_.find(instanceId);
    return ComPointer<IVirtualSerialDevice>(found != entries_.end() ? found->second.get() : nullptr);
}

ComPointer<IVirtualSerialDevice> DeviceMap::findByNumber(DWORD number) const {
    const std::shared_lock reading(mapLock_);
    for (const auto& [instanceId, device] : entries_)
        if (device.get()->deviceNumber() == number)
            return ComPointer<IVirtualSerialDevice>(device.get());
    return {};
}

} // namespace zorvan
