// Strings and variants of OLE Automation.
#pragma once

#include "base/com_pointer.h"

#include <oaidl.h>

#include <string>
#include <string_view>
#include <utility>

namespace zorvan {

// A new BSTR for the caller; null for an empty text. Throws E_OUTOFMEMORY.
BSTR newBstr(std::wstring_view text);

// The text of a BSTR, which may be null and may contain NULs.
std::wstring_view bstrText(BSTR text);

// The same for functions of the system: the text up to its first NUL. Never a null pointer.
const wchar_t* nulTerminated(const wchar_t* text);

// VT_EMPTY, or the VT_ERROR by which a script's call says that an optional argument was left out.
bool isOmitted(const VARIANT& argument);

// Whether GetIDsOfNames was given each name and the place for its identifier.
bool hasNames(const LPOLESTR* names, UINT count, const DISPID* ids);

// Whether Invoke was given the arguments and names that it is told of.
bool hasArguments(const DISPPARAMS* parameters);

constexpr VARIANT_BOOL toVariantBool(bool value) {
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

// A variant that frees what it holds.
class Variant : public VARIANT {
public:
    Variant() noexcept : VARIANT() {}
    Variant(Variant&& other) noexcept : VARIANT(other) { other.vt = VT_EMPTY; }
    Variant& operator=(Variant&& other) noexcept {
        std::swap<VARIANT>(*this, other);
        return *this;
    }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant();
};

Variant longVariant(LONG value);
Variant dispatchVariant(ComPointer<IDispatch> object);

// VariantChangeType with flags 0; throws its error.
Variant convertVariant(const VARIANT& source, VARTYPE type);

} // namespace zorvan
