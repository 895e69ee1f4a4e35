#include "base/type_information.h"

#include "base/automation.h"
#include "base/com_pointer.h"
#include "base/hresult_error.h"

#include <zorvanlib.h>

namespace zorvan {

namespace {

constexpr WORD kMajorVersion = 3;
constexpr WORD kMinorVersion = 0;

// The only locale that the type library is registered for; the caller's would often not be found.
constexpr LCID kLocale = 0x0409;

ComPointer<ITypeInfo> loadRegistered(const IID& iid) {
    ComPointer<ITypeLib> library;
    throwIfFailed(LoadRegTypeLib(LIBID_zorvanlibLib, kMajorVersion, kMinorVersion, kLocale, library.put()));
    ComPointer<ITypeInfo> information;
    throwIfFailed(library->GetTypeInfoOfGuid(iid, information.put()));
    return information;
}

} // namespace

TypeInformation::~TypeInformation() {
    ComPointer<ITypeInfo>::attach(information_.load());
}

HRESULT TypeInformation::get(UINT index, ITypeInfo** information) noexcept {
    return comBoundary([&] {
        requirePointer(information);
        if (index != 0)
            throw HResultError(DISP_E_BADINDEX);
        *information = ComPointer<ITypeInfo>(&loaded()).detach();
    });
}

HRESULT TypeInformation::idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) noexcept {
    if (!hasNames(names, count, ids))
        return E_POINTER;
    return comBoundary([&] { return loaded().GetIDsOfNames(names, count, ids); });
}

HRESULT TypeInformation::invoke(
    void* instance, DISPID member, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
    UINT* badArgument) noexcept {
    if (!hasArguments(parameters))
        return E_INVALIDARG;
    return comBoundary(
        [&] { return loaded().Invoke(instance, member, flags, parameters, result, exception, badArgument); });
}

ITypeInfo& TypeInformation::loaded() {
    if (ITypeInfo* kept = information_.load())
        return *kept;
    auto fresh = loadRegistered(iid_);
    ITypeInfo* kept = nullptr;
    // Another thread may have been faster; its reference is then the one that is kept.
    if (information_.compare_exchange_strong(kept, fresh.get()))
        return *fresh.detach();
    return *kept;
}

} // namespace zorvan
