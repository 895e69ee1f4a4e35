// One end of a bridge, as clients see it.
#pragma once

#include "base/com_object.h"
#include "device/pin_wiring.h"
#include "device/virtual_serial_device.h"

#include <zorvanlib.h>

namespace zorvan {

class CBridgeSocket final : public ComObject<DualInterface<ISocket>> {
public:
    CBridgeSocket(ComPointer<CVirtualSerialDevice> device, bool remote)
        : device_(std::move(device)), remote_(remote) {}

    HRESULT STDMETHODCALLTYPE get_DTR(IPin** value) noexcept override { return pin(PinSignal::Dtr, value); }
    HRESULT STDMETHODCALLTYPE get_DSR(IPin** value) noexcept override { return pin(PinSignal::Dsr, value); }
    HRESULT STDMETHODCALLTYPE get_DCD(IPin** value) noexcept override { return pin(PinSignal::Dcd, value); }
    HRESULT STDMETHODCALLTYPE get_RTS(IPin** value) noexcept override { return pin(PinSignal::Rts, value); }
    HRESULT STDMETHODCALLTYPE get_CTS(IPin** value) noexcept override { return pin(PinSignal::Cts, value); }
    HRESULT STDMETHODCALLTYPE get_RI(IPin** value) noexcept override { return pin(PinSignal::Ri, value); }

private:
    ~CBridgeSocket() override = default;

    HRESULT pin(PinSignal signal, IPin** value) const noexcept;

    const ComPointer<CVirtualSerialDevice> device_;
    const bool remote_;
};

} // namespace zorvan
