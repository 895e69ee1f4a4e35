#include "base/automation.h"

#include "base/hresult_error.h"

#include <oleauto.h>

#include <algorithm>

namespace zorvan {

BSTR newBstr(std::wstring_view text) {
    if (text.empty())
        return nullptr;
    BSTR copy = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (copy == nullptr)
        throw HResultError(E_OUTOFMEMORY);
    return copy;
}

std::wstring_view bstrText(BSTR text) {
    if (text == nullptr)
        return {};
    return {text, SysStringLen(text)};
}

const wchar_t* nulTerminated(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

bool isOmitted(const VARIANT& argument) {
    return argument.vt == VT_EMPTY || (argument.vt == VT_ERROR && argument.scode == DISP_E_PARAMNOTFOUND);
}

bool hasNames(const LPOLESTR* names, UINT count, const DISPID* ids) {
    if (count == 0)
        return true;
    return names != nullptr && ids != nullptr &&
           std::all_of(names, names + count, [](const OLECHAR* name) { return name != nullptr; });
}

bool hasArguments(const DISPPARAMS* parameters) {
    return parameters != nullptr && (parameters->cArgs == 0 || parameters->rgvarg != nullptr) &&
           (parameters->cNamedArgs == 0 || parameters->rgdispidNamedArgs != nullptr);
}

Variant::~Variant() {
    // Clearing fails only for variants that the system did not fill; there is then nothing of ours to free.
    VariantClear(this);
}

Variant longVariant(LONG value) {
    Variant variant;
    variant.vt = VT_I4;
    variant.lVal = value;
    return variant;
}

Variant dispatchVariant(ComPointer<IDispatch> object) {
    Variant variant;
    variant.vt = VT_DISPATCH;
    variant.pdispVal = object.detach();
    return variant;
}

Variant convertVariant(const VARIANT& source, VARTYPE type) {
    Variant converted;
    auto* unchanged = const_cast<VARIANT*>(&source); // only read, but some headers declare it without const
    throwIfFailed(VariantChangeType(&converted, unchanged, 0, type));
    return converted;
}

} // namespace zorvan
