#include "events/device_array.h"

#include "base/automation.h"
#include "base/hresult_error.h"

#include <oleauto.h>

#include <cwchar>
#include <string_view>

namespace zorvan {

namespace {

constexpr DISPID kLength = -100;

// The number that the digits spell, modulo 2^32; 0 for no digits at all. DISPID_UNKNOWN for anything else.
DISPID indexOf(std::wstring_view name) {
    std::uint32_t index = 0;
    for (const wchar_t digit : name) {
        if (digit < L'0' || digit > L'9')
            return DISPID_UNKNOWN;
        index = index * 10 + static_cast<std::uint32_t>(digit - L'0');
    }
    return static_cast<DISPID>(index);
}

DISPID memberNamed(const wchar_t* name) {
    return _wcsicmp(name, L"length") == 0 ? kLength : indexOf(name);
}

} // namespace

HRESULT CDeviceArray::GetTypeInfoCount(UINT* count) noexcept {
    return comGetter(count, [] { return 1U; });
}

HRESULT CDeviceArray::GetTypeInfo(UINT, LCID, ITypeInfo** information) noexcept {
    if (information != nullptr)
        *information = nullptr;
    return E_NOTIMPL;
}

HRESULT CDeviceArray::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept {
    if (!hasNames(names, count, ids))
        return E_POINTER;
    bool allKnown = true;
    for (UINT i = 0; i < count; ++i) {
        ids[i] = memberNamed(names[i]);
        allKnown = allKnown && ids[i] != DISPID_UNKNOWN;
    }
    return allKnown ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT
CDeviceArray::Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) noexcept {
    const auto& devices = snapshot_.devices;
    const bool isLength = member == kLength;
    if (!isLength && (member < 0 || static_cast<std::size_t>(member) >= devices.size()))
        return DISP_E_MEMBERNOTFOUND;
    if (result == nullptr)
        return S_OK; // the caller does not want the value

    if (isLength) { // written over whatever is there: not every caller initialises its result
        result->vt = VT_I4;
        result->lVal = static_cast<LONG>(devices.size());
        return S_OK;
    }
    VARIANT device{};
    device.vt = VT_DISPATCH;
    device.pdispVal = devices[static_cast<std::size_t>(member)].get();
    return VariantCopy(result, &device);
}

} // namespace zorvan
