// What a device object asks of the library object; clients never see this interface.
#pragma once

#include "base/com_object.h"
#include "base/guid.h"

#include <zorvanlib.h>

namespace zorvan {

class CVirtualSerialDevice;

struct IDeviceLibrary : public IUnknown {
    // The device whose IDeviceControl::deviceNumber is this, with a reference for the caller.
    // HRESULT_FROM_WIN32(ERROR_NOT_FOUND): there is none.
    virtual HRESULT STDMETHODCALLTYPE findDeviceByNumber(DWORD number, IVirtualSerialDevice** device) noexcept = 0;

    // The device has been renamed: reports it to listeners and callbacks.
    virtual HRESULT STDMETHODCALLTYPE portNameChanged(CVirtualSerialDevice* device) noexcept = 0;
};

template <>
inline constexpr IID kInterfaceId<IDeviceLibrary> = parseGuid("{15D83EF1-4F7E-4198-AF02-91DB158828BE}");

} // namespace zorvan
