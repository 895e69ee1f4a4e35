#include "device/bridge_pin.h"

#include "base/hresult_error.h"

namespace zorvan {

namespace {

ComPointer<IPinControl> ownPin(IPin& pin) {
    ComPointer<IPinControl> control;
    pin.QueryInterface(kInterfaceId<IPinControl>, reinterpret_cast<void**>(control.put()));
    if (!control) // some foreign objects say yes to everything
        throw HResultError(E_NOINTERFACE);
    return control;
}

} // namespace

HRESULT CBridgePin::connect(IPin* target, bool connected) noexcept {
    return comBoundary([&] {
        requirePointer(target);
        const auto other = ownPin(*target);
        if (&other->device() != device_.get() || !mayDrive(pin_.signal, other->pin().signal))
            throw HResultError(E_INVALIDARG);
        device_->connectPins(pin_, other->pin(), connected);
    });
}

} // namespace zorvan
