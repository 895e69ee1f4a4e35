#include "device/virtual_serial_device.h"

#include "base/hresult_error.h"

#include <shared_mutex>

namespace zorvan {

void dropHold(CVirtualSerialDevice* device) noexcept {
    if (--device->holders_ == 0)
        delete device;
}

CVirtualSerialDevice::CVirtualSerialDevice(IDeviceLibrary& library, pnp::DeviceIdentity identity)
    : library_(library), identity_(std::move(identity)) {}

DeviceHold CVirtualSerialDevice::create(IDeviceLibrary& library, pnp::DeviceIdentity identity) {
    return DeviceHold(new CVirtualSerialDevice(library, std::move(identity)));
}

DeviceHold CVirtualSerialDevice::hold() noexcept {
    ++holders_;
    return DeviceHold(this);
}

ULONG CVirtualSerialDevice::AddRef() noexcept {
    const auto references = ++references_;
    if (references == 1) {
        ++holders_;
        library_.AddRef();
    }
    return references;
}

ULONG CVirtualSerialDevice::Release() noexcept {
    const auto references = --references_;
    if (references == 0) {
        // The library goes last: its own end drops the map's hold on this object.
        IDeviceLibrary& library = library_;
        dropHold(this);
        library.Release();
    }
    return references;
}

std::wstring CVirtualSerialDevice::controlPath() const {
    const std::shared_lock lock(identityLock_);
    return identity_.controlPath;
}

BoundDriver CVirtualSerialDevice::aliveDriver() const {
    const std::shared_lock lock(identityLock_);
    if (!identity_.alive)
        throw HResultError(E_HANDLE);
    return {identity_.controlPath, identity_.hostProcessId};
}

DWORD CVirtualSerialDevice::deviceNumber() noexcept {
    const std::shared_lock lock(identityLock_);
    return identity_.hostProcessId;
}

// The event never changes, so no lock is needed.
HANDLE CVirtualSerialDevice::notificationEvent() noexcept {
    return identity_.notificationEvent.get();
}

void CVirtualSerialDevice::markDeleted() noexcept {
    const HeldLock lock(identityLock_);
    identity_.controlPath.clear();
    identity_.portPath.clear();
    identity_.hostProcessId = 0;
    identity_.alive = false;
}

} // namespace zorvan
