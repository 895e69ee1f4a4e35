// Sockets and pins: the device object's side of them. It keeps the wiring, and the driver is told of each change.

#include "base/hresult_error.h"
#include "device/bridge_socket.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"

#include <mutex>

namespace zorvan {

HRESULT CVirtualSerialDevice::get_localSocket(ISocket** socket) noexcept {
    return newSocket(false, socket);
}

HRESULT CVirtualSerialDevice::get_remoteSocket(ISocket** socket) noexcept {
    return newSocket(true, socket);
}

HRESULT CVirtualSerialDevice::newSocket(bool remote, ISocket** socket) noexcept {
    return comGetter(socket, [&] {
        return makeComObject<CBridgeSocket>(ComPointer<CVirtualSerialDevice>(this), remote).detach();
    });
}

HRESULT CVirtualSerialDevice::restoreDefaultPins() noexcept {
    return comBoundary([&] {
        const std::unique_lock lock(wiringLock_);
        // Unlike a single connection, these are kept even when the driver does not take them, and then go to it with
        // the next change. Intended.
        wiring_ = PinWiring();
        sendWiring(wiring_);
    });
}

void CVirtualSerialDevice::connectPins(Pin source, Pin target, bool connected) {
    const std::unique_lock lock(wiringLock_);
    auto wiring = wiring_;
    if (!wiring.set(source, target, connected))
        return;
    sendWiring(wiring);
    wiring_ = wiring;
}

void CVirtualSerialDevice::sendWiring(const PinWiring& wiring) const {
    driver::sendSet(
        controlPath(), protocol::Set::PinConnections, protocol::RecordWriter().appendList(wiring.entries()).bytes());
}

} // namespace zorvan
