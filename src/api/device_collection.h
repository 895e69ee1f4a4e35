// A snapshot of the devices for clients that count, index and enumerate.
#pragma once

#include "base/com_object.h"
#include "device/device_snapshot.h"

#include <zorvanlib.h>

namespace zorvan {

class CDeviceCollection final : public ComObject<DualInterface<IDeviceCollection>> {
public:
    explicit CDeviceCollection(DeviceSnapshot snapshot) : snapshot_(std::move(snapshot)) {}

    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Item(VARIANT index, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) noexcept override;

    const std::vector<ComPointer<IVirtualSerialDevice>>& devices() const { return snapshot_.devices; }

private:
    ~CDeviceCollection() override = default;

    const ComPointer<IVirtualSerialDevice>& deviceNamed(BSTR name) const;
    const ComPointer<IVirtualSerialDevice>& deviceAt(const VARIANT& index) const;

    const DeviceSnapshot snapshot_;
};

} // namespace zorvan
