#include "api/device_map.h"

#include "base/hresult_error.h"
#include "pnp/device_identity.h"

#include <algorithm>
#include <exception>
#include <shared_mutex>
#include <utility>

namespace zorvan {

namespace {

// What failed first of steps that must all be tried.
class FirstFailure {
public:
    template <class Step>
    void catchOf(Step&& step) {
        try {
            std::forward<Step>(step)();
        } catch (...) {
            if (!failure_)
                failure_ = std::current_exception();
        }
    }

    void rethrow() const {
        if (failure_)
            std::rethrow_exception(failure_);
    }

private:
    std::exception_ptr failure_;
};

} // namespace

void DeviceMap::dropPredecessor(const std::wstring& instanceId, const DeviceSnapshot& knownBefore) {
    const auto device = find(instanceId);
    const auto& known = knownBefore.devices;
    const bool wasKnown =
        std::any_of(known.begin(), known.end(), [&](const auto& other) { return other.get() == device.get(); });
    if (wasKnown)
        refreshWithout(device.get());
}

void DeviceMap::refreshWithout(const CVirtualSerialDevice* gone) {
    const HeldLock refreshing(refreshLock_);
    auto present = pnp::enumeratePresentDevices();

    DeviceHolds deleted;
    DeviceHolds added;
    // No later refresh finds what this one has changed: it is reported even when memory runs out on the way.
    FirstFailure failure;
    {
        const HeldLock map(mapLock_);
        deleted = removeMissing(map, present, gone);
        failure.catchOf([&] { addNew(map, present, added); });
    }
    if (!added.empty())
        failure.catchOf([&] { publisher_.devicesAdded(added); });
    if (!deleted.empty())
        failure.catchOf([&] { publisher_.devicesDeleted(deleted); });
    failure.rethrow();
}

DeviceHolds
DeviceMap::removeMissing(const HeldLock&, const pnp::PresentDevices& present, const CVirtualSerialDevice* gone) {
    DeviceHolds deleted;
    deleted.reserve(entries_.size()); // nothing fails from here on
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (present.contains(entry->first) && entry->second.get() != gone) {
            ++entry;
            continue;
        }
        entry->second.get()->markDeleted();
        deleted.push_back(std::move(entry->second));
        entry = entries_.erase(entry);
    }
    return deleted;
}

void DeviceMap::addNew(const HeldLock& map, pnp::PresentDevices& present, DeviceHolds& added) {
    added.reserve(present.records.size());
    for (auto& record : present.records) {
        if (entries_.contains(record.instanceId))
            continue;
        try {
            added.push_back(add(map, present.set.get(), record));
        } catch (const HResultError&) {
            // The device is going away again or not ready yet.
            continue;
        }
    }
}

DeviceHold DeviceMap::add(const HeldLock&, HDEVINFO set, pnp::PresentDevice& record) {
    auto device = CVirtualSerialDevice::create(library_, pnp::openDevice(set, record.device, record.instanceId));
    auto held = device.get()->hold();
    entries_.emplace(record.instanceId, std::move(device));
    return held;
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

DeviceSnapshot DeviceMap::snapshot() const {
    DeviceSnapshot snapshot{{}, ComPointer<IUnknown>(&library_)};
    const std::shared_lock reading(mapLock_);
    snapshot.devices.reserve(entries_.size());
    for (const auto& [instanceId, device] : entries_)
        snapshot.devices.emplace_back(device.get());
    return snapshot;
}

DeviceHold DeviceMap::find(const std::wstring& instanceId) const {
    const std::shared_lock reading(mapLock_);
    const auto found = entries_.find(instanceId);
    return found != entries_.end() ? found->second.get()->hold() : DeviceHold();
}

ComPointer<IVirtualSerialDevice> DeviceMap::findByNumber(DWORD number) const {
    const std::shared_lock reading(mapLock_);
    for (const auto& [instanceId, device] : entries_)
        if (device.get()->deviceNumber() == number)
            return ComPointer<IVirtualSerialDevice>(device.get());
    return {};
}

} // namespace zorvan
