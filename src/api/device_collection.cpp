#include "api/device_collection.h"

#include "api/device_enumerator.h"
#include "base/automation.h"
#include "base/hresult_error.h"

#include <oleauto.h>

namespace zorvan {

namespace {

Variant portNameOf(IVirtualSerialDevice& device) {
    Variant name;
    throwIfFailed(device.get_portName(&name.bstrVal));
    name.vt = VT_BSTR;
    return name;
}

Variant copyOf(BSTR text) {
    Variant copy;
    copy.bstrVal = newBstr(bstrText(text));
    copy.vt = VT_BSTR;
    return copy;
}

} // namespace

HRESULT CDeviceCollection::get__NewEnum(IUnknown** enumerator) noexcept {
    return comGetter(
        enumerator, [&] { return makeComObject<CDeviceEnumerator>(ComPointer<CDeviceCollection>(this)).detach(); });
}

HRESULT CDeviceCollection::get_Item(VARIANT index, IVirtualSerialDevice** device) noexcept {
    return comGetter(device, [&] {
        const auto& found = index.vt == VT_BSTR ? deviceNamed(index.bstrVal) : deviceAt(index);
        return ComPointer<IVirtualSerialDevice>(found).detach();
    });
}

HRESULT CDeviceCollection::get_Count(LONG* count) noexcept {
    return comGetter(count, [&] { return static_cast<LONG>(devices().size()); });
}

const ComPointer<IVirtualSerialDevice>& CDeviceCollection::deviceNamed(BSTR name) const {
    const auto wanted = copyOf(name);
    for (const auto& device : devices()) {
        const auto current = portNameOf(*device);
        if (VarBstrCmp(current.bstrVal, wanted.bstrVal, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ)
            return device;
    }
    throw HResultError(E_INVALIDARG);
}

const ComPointer<IVirtualSerialDevice>& CDeviceCollection::deviceAt(const VARIANT& index) const {
    const auto position = convertVariant(index, VT_UI4).ulVal;
    if (position >= devices().size())
        throw HResultError(E_INVALIDARG);
    return devices()[position];
}

} // namespace zorvan
