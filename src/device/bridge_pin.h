// One modem control pin of a bridged device, as clients see it.
#pragma once

#include "base/com_object.h"
#include "device/pin_wiring.h"
#include "device/virtual_serial_device.h"

#include <zorvanlib.h>

namespace zorvan {

// Every look at a socket's property makes a new one: pins are told apart by what they stand for.
class CBridgePin final : public ComObject<DualInterface<IPin>> {
public:
    CBridgePin(ComPointer<CVirtualSerialDevice> device, Pin pin) : device_(std::move(device)), pin_(pin) {}

    HRESULT STDMETHODCALLTYPE sendTo(IPin* target) noexcept override { return connect(target, true); }
    HRESULT STDMETHODCALLTYPE removeConnectionTo(IPin* target) noexcept override { return connect(target, false); }

private:
    ~CBridgePin() override = default;

    HRESULT connect(IPin* target, bool connected) noexcept;

    const ComPointer<CVirtualSerialDevice> device_;
    const Pin pin_;
};

} // namespace zorvan
