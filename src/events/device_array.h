// A snapshot of the devices in the shape of a script's array.
#pragma once

#include "base/com_object.h"
#include "device/device_references.h"

namespace zorvan {

// Members: "length", and "0", "1" and so on. Its type information: oddity 26 of docs/architecture.md.
class CDeviceArray final : public ComObject<IDispatch> {
public:
    // The library is kept alive, and the module loaded with it, even by an array without devices.
    CDeviceArray(DeviceReferences devices, ComPointer<IUnknown> library)
        : devices_(std::move(devices)), library_(std::move(library)) {}

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** information) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept override;

    HRESULT STDMETHODCALLTYPE
    Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) noexcept override;

private:
    ~CDeviceArray() override = default;

    const DeviceReferences devices_;
    const ComPointer<IUnknown> library_;
};

} // namespace zorvan
