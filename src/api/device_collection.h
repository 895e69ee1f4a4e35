// A snapshot of the devices for clients that count, index and enumerate.
#pragma once

#include "base/com_object.h"
#include "events/device_map.h"

#include <zorvanlib.h>

namespace zorvan {

class CDeviceCollection final : public ComObject<DualInterface<IDeviceCollection>> {
public:
    explicit CDeviceCollection(DeviceReferences devices) : devices_(std::move(devices)) {}

    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Item(VARIANT index, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) noexcept override;

    const DeviceReferences& devices() const { return devices_; }

private:
    ~CDeviceCollection() override = default;

    const ComPointer<IVirtualSerialDevice>& deviceNamed(BSTR name) const;
    const ComPointer<IVirtualSerialDevice>& deviceAt(const VARIANT& index) const;

    const DeviceReferences devices_;
};

} // namespace zorvan
