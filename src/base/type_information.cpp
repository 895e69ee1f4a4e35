#include "base/type_information.h"

#include "base/com_pointer.h"
#include "base/hresult_error.h"

#include <zorvanlib.h>

namespace zorvan {

namespace {

constexpr WORD kMajorVersion = 3;
constexpr WORD kMinorVersion = 0;

ComPointer<ITypeInfo> loadRegistered(const IID& iid, LCID locale) {
    ComPointer<ITypeLib> library;
    throwIfFailed(LoadRegTypeLib(LIBID_zorvanlibLib, kMajorVersion, kMinorVersion, locale, library.put()));
    ComPointer<ITypeInfo> information;
    throwIfFailed(library->GetTypeInfoOfGuid(iid, information.put()));
    return information;
}

} // namespace

TypeInformation::~TypeInformation() {
    ComPointer<ITypeInfo>::attach(information_.load());
}

HRESULT TypeInformation::get(UINT index, LCID locale, ITypeInfo** information) noexcept {
    return comBoundary([&] {
        requirePointer(information);
        if (index != 0)
            throw HResultError(DISP_E_BADINDEX);
        *information = ComPointer<ITypeInfo>(&loaded(locale)).detach();
    });
}

HRESULT TypeInformation::idsOfNames(LPOLESTR* names, UINT count, LCID locale, DISPID* ids) noexcept {
    return comBoundary([&] { return loaded(locale).GetIDsOfNames(names, count, ids); });
}

HRESULT TypeInformation::invoke(
    void* instance, DISPID member, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result,
    EXCEPINFO* exception, UINT* badArgument) noexcept {
    return comBoundary(
        [&] { return loaded(locale).Invoke(instance, member, flags, parameters, result, exception, badArgument); });
}

ITypeInfo& TypeInformation::loaded(LCID locale) {
    if (ITypeInfo* kept = information_.load())
        return *kept;
    auto fresh = loadRegistered(iid_, locale);
    ITypeInfo* kept = nullptr;
    // Another thread may have been faster; its reference is then the one that is kept.
    if (information_.compare_exchange_strong(kept, fresh.get()))
        return *fresh.detach();
    return *kept;
}

} // namespace zorvan
