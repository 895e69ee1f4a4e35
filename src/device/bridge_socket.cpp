#include "device/bridge_socket.h"

#include "base/hresult_error.h"
#include "device/bridge_pin.h"

namespace zorvan {

HRESULT CBridgeSocket::pin(PinSignal signal, IPin** value) const noexcept {
    return comGetter(value, [&] { return makeComObject<CBridgePin>(device_, Pin{signal, remote_}).detach(); });
}

} // namespace zorvan
