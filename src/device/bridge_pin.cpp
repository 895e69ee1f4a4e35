#include "device/bridge_pin.h"

#include "base/hresult_error.h"

namespace zorvan {

HRESULT CBridgePin::connect(IPin* target, bool connected) noexcept {
    return comBoundary([&] {
        requirePointer(target);
        if (!isSameClass<IPin>(*target, *this))
            throw HResultError(E_NOINTERFACE);
        const auto& other = static_cast<const CBridgePin&>(*target);
        if (other.device_.get() != device_.get() || !mayDrive(pin_.signal, other.pin_.signal))
            throw HResultError(E_INVALIDARG);
        device_->connectPins(pin_, other.pin_, connected);
    });
}

} // namespace zorvan
