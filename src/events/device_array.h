// A snapshot of the devices in the shape of a script's array.
#pragma once

#include "base/com_object.h"
#include "device/device_snapshot.h"

namespace zorvan {

// Members: "length", and "0", "1" and so on. Its type information: oddity 26 of docs/architecture.md.
class CDeviceArray final : public ComObject<IDispatch> {
public:
    explicit CDeviceArray(DeviceSnapshot snapshot) : snapshot_(std::move(snapshot)) {}

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** information) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept override;

    HRESULT STDMETHODCALLTYPE
    Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) noexcept override;

private:
    ~CDeviceArray() override = default;

    const DeviceSnapshot snapshot_;
};

} // namespace zorvan
