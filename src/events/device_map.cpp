#include "events/device_map.h"

#include "base/hresult_error.h"
#include "pnp/opening.h"

#include <mutex>
#include <shared_mutex>

namespace zorvan {

void DeviceMap::refresh() {
    const std::unique_lock refreshing(refreshLock_);
    std::vector<std::wstring> gone;
    auto present = look(gone);

    DeviceReferences deleted;
    DeviceReferences added;
    {
        const std::unique_lock writing(mapLock_);
        deleted = remove(gone);
        added = addNew(present);
    }
    if (!added.empty())
        sink_.devicesAdded(added);
    if (!deleted.empty())
        sink_.devicesDeleted(deleted);
}

pnp::PresentDevices DeviceMap::look(std::vector<std::wstring>& gone) const {
    auto present = pnp::enumeratePresentDevices();
    gone = missingFrom(present);
    for (int looks = 1; !gone.empty() && looks < pnp::kMostLooks; ++looks) {
        present = pnp::enumeratePresentDevices();
        std::erase_if(gone, [&](const std::wstring& instanceId) { return present.contains(instanceId); });
    }
    return present;
}

std::vector<std::wstring> DeviceMap::missingFrom(const pnp::PresentDevices& present) const {
    std::vector<std::wstring> missing;
    for (const auto& [instanceId, device] : entries_)
        if (!present.contains(instanceId))
            missing.push_back(instanceId);
    return missing;
}

DeviceReferences DeviceMap::remove(const std::vector<std::wstring>& gone) {
    DeviceReferences deleted;
    for (const auto& instanceId : gone) {
        const auto entry = entries_.find(instanceId);
        deleted.emplace_back(entry->second.get());
        entry->second.get()->markDeleted();
        entries_.erase(entry);
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
