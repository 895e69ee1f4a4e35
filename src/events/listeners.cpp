#include "events/listeners.h"

#include "base/hresult_error.h"

#include <oleauto.h>

#include <algorithm>
#include <shared_mutex>

namespace zorvan {

namespace {

// A locked array of VT_DISPATCH whose elements hold references of their own.
class DeviceSafeArray {
public:
    explicit DeviceSafeArray(const DeviceHolds& devices)
        : array_(SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(devices.size()))) {
        if (array_ == nullptr)
            throw HResultError(E_OUTOFMEMORY);
        if (const HRESULT locked = SafeArrayLock(array_); FAILED(locked)) {
            SafeArrayDestroy(array_);
            throw HResultError(locked);
        }
        auto** elements = static_cast<IDispatch**>(array_->pvData);
        for (const auto& device : devices)
            *elements++ = ComPointer<IDispatch>(device.get()).detach();
    }
    DeviceSafeArray(const DeviceSafeArray&) = delete;
    DeviceSafeArray& operator=(const DeviceSafeArray&) = delete;
    ~DeviceSafeArray() {
        // These fail only for an array that a listener locked and left locked: it is then leaked, not destroyed
        // twice.
        SafeArrayUnlock(array_);
        SafeArrayDestroy(array_);
    }

    SAFEARRAY* get() const { return array_; }

private:
    SAFEARRAY* array_;
};

} // namespace

void Listeners::add(IVirtualSerialLibraryListener* listener) {
    const HeldLock writing(lock_);
    listeners_.emplace_back(listener);
}

void Listeners::remove(IVirtualSerialLibraryListener* listener) {
    ComPointer<IVirtualSerialLibraryListener> removed; // released after the lock: its end may call back
    const HeldLock writing(lock_);
    const auto found = std::find_if(
        listeners_.begin(), listeners_.end(), [&](const auto& entry) { return entry.get() == listener; });
    if (found == listeners_.end())
        return;
    removed = std::move(*found);
    listeners_.erase(found);
}

bool Listeners::empty() const {
    const std::shared_lock reading(lock_);
    return listeners_.empty();
}

void Listeners::report(ListEvent event, const DeviceHolds& devices) {
    const std::shared_lock reading(lock_);
    const DeviceSafeArray array(devices);
    for (const auto& listener : listeners_)
        (listener.get()->*event)(array.get());
}

void Listeners::added(const DeviceHolds& devices) {
    report(&IVirtualSerialLibraryListener::added, devices);
}

void Listeners::deleted(const DeviceHolds& devices) {
    report(&IVirtualSerialLibraryListener::deleted, devices);
}

void Listeners::changed(IVirtualSerialDevice& device, ChangeMode mode) {
    const std::shared_lock reading(lock_);
    for (const auto& listener : listeners_)
        listener->changed(&device, mode);
}

} // namespace zorvan
