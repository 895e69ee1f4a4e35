// A snapshot of the devices for clients that count, index and enumerate.
#pragma once

#include "base/com_object.h"
#include "events/device_map.h"

#include <zorvanlib.h>

namespace zorvan {

class CDeviceCollection final : public ComObject<DualInterface<IDeviceCollection>> {
public:
    // The library is kept alive, and the module loaded with it, even by a collection without devices.
    CDeviceCollection(DeviceReferences devices, ComPointer<IUnknown> library)
        : devices_(std::move(devices)), library_(std::move(library)) {}

    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Item(VARIANT index, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) noexcept override;

    const DeviceReferences& devices() const { return devices_; }

private:
    ~CDeviceCollection() override = default;

    const ComPointer<IVirtualSerialDevice>& deviceNamed(BSTR name) const;
    const ComPointer<IVirtualSerialDevice>& deviceAt(const VARIANT& index) const;

    const DeviceReferences devices_;
    const ComPointer<IUnknown> library_;
};

} // namespace zorvan
