// Sockets and pins: the device object's side of them. It keeps the wiring, which goes to the driver whole.

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
    return comGetter(socket, [&] {
        return makeComObject<CBridgeSocket>(ComPointer<CVirtualSerialDevice>(this), remote).detach();
    });
}

HRESULT CVirtualSerialDevice::restoreDefaultPins() noexcept {
    return comBoundary([&] {
        const HeldLock wiring(wiringLock_);
        wiring_ = PinWiring();
        sendWiring(wiring);
    });
}

void CVirtualSerialDevice::connectPins(Pin source, Pin target, bool connected) {
    const HeldLock wiring(wiringLock_);
    wiring_.set(source, target, connected);
    sendWiring(wiring);
}

// Also a wiring that is what it was: the one in force is the port's, and another program, another device object or
// the other end may have changed it. One that the driver refuses is kept and goes to it with the next change.
void CVirtualSerialDevice::sendWiring(const HeldLock&) const {
    driver::sendSet(
        controlPath(), protocol::Set::PinConnections, protocol::RecordWriter().appendList(wiring_.entries()).bytes());
}

} // namespace zorvan
