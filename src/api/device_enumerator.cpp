#include "api/device_enumerator.h"

#include "base/hresult_error.h"

#include <oleauto.h>

#include <algorithm>

namespace zorvan {

HRESULT CDeviceEnumerator::Next(ULONG count, VARIANT* elements, ULONG* fetched) noexcept {
    if (elements == nullptr || (fetched == nullptr && count != 1))
        return E_POINTER;
    if (fetched != nullptr)
        *fetched = 0;

    ULONG done = 0;
    for (; done < count && left() > 0; ++done, ++cursor_) {
        VARIANT& element = elements[done];
        VariantClear(&element); // fails only for a variant that the client did not initialise
        const auto& device = owner_->devices()[cursor_];
        const HRESULT result = device->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&element.pdispVal));
        if (FAILED(result))
            return result;
        element.vt = VT_DISPATCH;
    }
    if (fetched != nullptr)
        *fetched = done;
    return done < count ? S_FALSE : S_OK;
}

HRESULT CDeviceEnumerator::Skip(ULONG count) noexcept {
    const auto skipped = std::min<std::size_t>(count, left());
    cursor_ += skipped;
    return skipped < count ? S_FALSE : S_OK;
}

HRESULT CDeviceEnumerator::Reset() noexcept {
    cursor_ = 0;
    return S_OK;
}

HRESULT CDeviceEnumerator::Clone(IEnumVARIANT** clone) noexcept {
    // Oddity 25 of docs/architecture.md.
    return comGetter(clone, [&] { return makeComObject<CDeviceEnumerator>(owner_).detach(); });
}

} // namespace zorvan
