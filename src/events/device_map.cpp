#include "events/device_map.h"

#include "base/hresult_error.h"
#include "pnp/opening.h"

#include <mutex>
#include <shared_mutex>

namespace zorvan {

void DeviceMap::refresh() {
    const std::unique_lock refreshing(refreshLock_);
    auto present = pnp::enumeratePresentDevices();

    DeviceReferences deleted;
    DeviceReferences added;
    {
        const std::unique_lock writing(mapLock_);
        deleted = removeMissing(present);
        added = addNew(present);
    }
    if (!added.empty())
        sink_.devicesAdded(added);
    if (!deleted.empty())
        sink_.devicesDeleted(deleted);
}

DeviceReferences DeviceMap::removeMissing(const pnp::PresentDevices& present) {
    DeviceReferences deleted;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (present.contains(entry->first)) {
            ++entry;
            continue;
        }
        deleted.emplace_back(entry->second.get());
        entry->second.get()->markDeleted();
        entry = entries_.erase(entry);
    }
    return deleted;
}

DeviceReferences DeviceMap::addNew(pnp::PresentDevices& present) {
    DeviceReferences added;
    for (auto& record : present.records) {
        if (entries_.contains(record.instanceId))
            continue;
        try {
            added.push_back(add(present.set.get(), record));
        } catch (const HResultError&) {
            // The device is going away again or not ready yet.
            continue;
        }
    }
    return added;
}

ComPointer<IVirtualSerialDevice> DeviceMap::add(HDEVINFO set, pnp::PresentDevice& record) {
    auto device = CVirtualSerialDevice::create(library_, pnp::openDevice(set, record.device, record.instanceId));
    const auto [entry, isNew] = entries_.emplace(record.instanceId, std::move(device));
    return ComPointer<IVirtualSerialDevice>(entry->second.get());
}

std::vector<WaitedDevice> DeviceMap::duplicateEvents() const {
    const std::shared_lock reading(mapLock_);
    std::vector<WaitedDevice> waited;
    waited.reserve(entries_.size());
    for (const auto& [instanceId, device] : entries_) {
        UniqueHandle duplicate;
        const HANDLE event = device.get()->notificationEvent();
        const HANDLE self = GetCurrentProcess();
        // A device whose event cannot be duplicated is not waited for; its changes are then not reported.
        if (event != nullptr &&
            DuplicateHandle(self, event, self, duplicate.put(), 0, FALSE, DUPLICATE_SAME_ACCESS) != FALSE)
            waited.push_back({std::move(duplicate), instanceId});
    }
    return waited;
}

DeviceReferences DeviceMap::snapshot() const {
    const std::shared_lock reading(mapLock_);
    DeviceReferences devices;
    devices.reserve(entries_.size());
    for (const auto& [instanceId, device] : entries_)
        devices.emplace_back(device.get());
    return devices;
}

ComPointer<CVirtualSerialDevice> DeviceMap::find(const std::wstring& instanceId) const {
    const std::shared_lock reading(mapLock_);
    const auto found = entries_.find(instanceId);
    return ComPointer<CVirtualSerialDevice>(found != entries_.end() ? found->second.get() : nullptr);
}

ComPointer<IVirtualSerialDevice> DeviceMap::findByNumber(DWORD number) const {
    const std::shared_lock reading(mapLock_);
    for (const auto& [instanceId, device] : entries_)
        if (device.get()->deviceNumber() == number)
            return ComPointer<IVirtualSerialDevice>(device.get());
    return {};
}

} // namespace zorvan
