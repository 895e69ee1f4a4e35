// The library object: the one class that clients create.
#pragma once

#include "base/com_object.h"
#include "device/device_library.h"
#include "events/device_map.h"

#include <zorvanlib.h>

#include <memory>
#include <string>

namespace zorvan {

class CVirtualSerialLibrary final : public ComIdentity<DualInterface<IVirtualSerialLibrary>, IDeviceLibrary> {
public:
    // A library object that knows the ports of the system, without a reference yet.
    static std::unique_ptr<CVirtualSerialLibrary> create();
    ~CVirtualSerialLibrary() = default;

    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    HRESULT STDMETHODCALLTYPE createDevice(VARIANT portName, IVirtualSerialDevice** device) noexcept override;
    HRESULT STDMETHODCALLTYPE get_devicesCollection(IDeviceCollection** collection) noexcept override;
    HRESULT STDMETHODCALLTYPE get_devicesArray(IDispatch** array) noexcept override;

    // Not built yet: events
    HRESULT STDMETHODCALLTYPE addListener(IVirtualSerialLibraryListener*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE removeListener(IVirtualSerialLibraryListener*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE added(VARIANT, LONG*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE deleted(VARIANT, LONG*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE changed(VARIANT, LONG*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE dispatchEvents(IDispatch*, ULONG) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE stopEventDispatching() noexcept override { return E_NOTIMPL; }

    // IDeviceLibrary
    HRESULT STDMETHODCALLTYPE findDeviceByNumber(DWORD number, IVirtualSerialDevice** device) noexcept override;

private:
    CVirtualSerialLibrary() : devices_(*this) {}

    ComPointer<IUnknown> reference() { return ComPointer<IUnknown>(static_cast<IVirtualSerialLibrary*>(this)); }

    // Looks for the new device until the system shows it; null when it takes too long.
    ComPointer<IVirtualSerialDevice> waitForDevice(const std::wstring& instanceId);

    ReferenceCount references_;
    DeviceMap devices_;
};

} // namespace zorvan
