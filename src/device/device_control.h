// What the rest of the library asks of a device object; clients never see this interface.
#pragma once

#include "base/com_object.h"
#include "base/guid.h"

namespace zorvan {

struct IDeviceControl : public IUnknown {
    // The process ID of the device's driver host as the driver told it, by which it also names bridge partners. 0
    // when the driver did not tell, and once the device is marked deleted.
    virtual DWORD STDMETHODCALLTYPE deviceNumber() noexcept = 0;

    // Signalled by the driver when the device changes; null when there is none. Owned by the device object.
    virtual HANDLE STDMETHODCALLTYPE notificationEvent() noexcept = 0;

    // The device node is gone: from now on the device object is deleted for its clients.
    virtual void STDMETHODCALLTYPE markDeleted() noexcept = 0;
};

template <>
inline constexpr IID kInterfaceId<IDeviceControl> = parseGuid("{A834C94F-D444-402A-8B78-F2B9D839378F}");

} // namespace zorvan
