// One modem control pin of a bridged device, as clients see it.
#pragma once

#include "base/com_object.h"
#include "base/guid.h"
#include "device/pin_wiring.h"
#include "device/virtual_serial_device.h"

#include <zorvanlib.h>

namespace zorvan {

// What a pin asks of another one; clients never see this interface.
struct IPinControl : public IUnknown {
    virtual const CVirtualSerialDevice& STDMETHODCALLTYPE device() noexcept = 0;
    virtual Pin STDMETHODCALLTYPE pin() noexcept = 0;
};

template <>
inline constexpr IID kInterfaceId<IPinControl> = parseGuid("{3D5C3A0E-6B0B-4A55-9A0C-0D3E6B9F7A41}");

// Every look at a socket's property makes a new one: pins are told apart by what they stand for.
class CBridgePin final : public ComObject<DualInterface<IPin>, IPinControl> {
public:
    CBridgePin(ComPointer<CVirtualSerialDevice> device, Pin pin) : device_(std::move(device)), pin_(pin) {}

    HRESULT STDMETHODCALLTYPE sendTo(IPin* target) noexcept override { return connect(target, true); }
    HRESULT STDMETHODCALLTYPE removeConnectionTo(IPin* target) noexcept override { return connect(target, false); }

    // IPinControl
    const CVirtualSerialDevice& STDMETHODCALLTYPE device() noexcept override { return *device_; }
    Pin STDMETHODCALLTYPE pin() noexcept override { return pin_; }

private:
    ~CBridgePin() override = default;

    HRESULT connect(IPin* target, bool connected) noexcept;

    const ComPointer<CVirtualSerialDevice> device_;
    const Pin pin_;
};

} // namespace zorvan
