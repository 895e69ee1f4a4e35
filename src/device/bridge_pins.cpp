// Sockets and pins: the device object's side of them. It keeps the wiring, and the driver is told of each change.

#include "base/hresult_error.h"
#include "device/bridge_socket.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"

namespace zorvan {

HRESULT CVirtualSerialDevice::get_localSocket(ISocket** socket) noexcept {
    return newSocket(false, socket);
}

HRESULT CVirtualSerialDevice::get_remoteSocket(ISocket** socket) noexcept {
    return newSocket(true, socket);
}

HRESULT CVirtualSerialDevice::newSocket(bool remote, ISocket** socket) noexcept {
    return comBoundary([&] {
        requirePointer(socket);
        *socket = makeComObject<CBridgeSocket>(ComPointer<CVirtualSerialDevice>(this), remote).detach();
    });
}

HRESULT CVirtualSerialDevice::restoreDefaultPins() noexcept {
    return comBoundary([&] {
        const std::unique_lock lock(wiringLock_);
        rewire(PinWiring(), lock);
    });
}

void CVirtualSerialDevice::connectPins(Pin source, Pin target, bool connected) {
    const std::unique_lock lock(wiringLock_);
    auto wiring = wiring_;
    if (wiring.set(source, target, connected))
        rewire(wiring, lock);
}

void CVirtualSerialDevice::rewire(const PinWiring& wiring, const std::unique_lock<SlimLock>&) {
    driver::sendSet(
        controlPath(), protocol::Set::PinConnections, protocol::RecordWriter().appendList(wiring.entries()).bytes());
    wiring_ = wiring;
}

} // namespace zorvan
