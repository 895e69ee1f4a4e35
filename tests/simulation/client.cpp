#include "simulation/client.h"

#include "simulation/call.h"

#include <stdexcept>

namespace zorvan::simulation {

Variant Variant::omitted() {
    Variant value;
    value.vt = VT_ERROR;
    value.scode = DISP_E_PARAMNOTFOUND;
    return value;
}

HRESULT dispatchId(IDispatch& object, const wchar_t* name, DISPID& id) {
    std::wstring copy = name;
    auto* names = copy.data();
    return object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
}

HRESULT
dispatch(IDispatch& object, const wchar_t* name, WORD flags, std::vector<Variant> arguments, VARIANT* result) {
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = dispatchId(object, name, id);
    if (FAILED(found))
        return found;
    // The last argument comes first.
    std::vector<VARIANTARG> reversed(arguments.rbegin(), arguments.rend());
    DISPID putName = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    if ((flags & DISPATCH_PROPERTYPUT) != 0) {
        parameters.rgdispidNamedArgs = &putName;
        parameters.cNamedArgs = 1;
    }
    return object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result, nullptr, nullptr);
}

HRESULT get(IDispatch& object, const wchar_t* name, VARIANT* result) {
    return dispatch(object, name, DISPATCH_PROPERTYGET, {}, result);
}

HRESULT put(IDispatch& object, const wchar_t* name, Variant value) {
    std::vector<Variant> arguments;
    arguments.push_back(std::move(value));
    return dispatch(object, name, DISPATCH_PROPERTYPUT, std::move(arguments), nullptr);
}

void require(HRESULT result, const char* what) {
    if (FAILED(result))
        throw std::runtime_error(std::string(what) + " failed with " + describe(static_cast<DWORD>(result)));
}

} // namespace zorvan::simulation
