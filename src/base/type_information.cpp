#include "base/type_information.h"

#include "base/automation.h"
#include "base/com_pointer.h"
#include "base/hresult_error.h"
#include "base/slim_lock.h"

#include <zorvanlib.h>

#include <utility>

namespace zorvan {

namespace {

constexpr WORD kMajorVersion = 3;
constexpr WORD kMinorVersion = 0;

// The only locale that the type library is registered for; the caller's would often not be found.
constexpr LCID kLocale = 0x0409;

// Guards all that follows. Nothing of it needs an end when the module goes: its last user has seen to that.
constinit SlimLock lock;
constinit unsigned libraryUsers = 0;
constinit ITypeLib* library = nullptr;
constinit TypeInformation* firstLoaded = nullptr;

ComPointer<ITypeLib> loadRegistered() {
    ComPointer<ITypeLib> loaded;
    throwIfFailed(LoadRegTypeLib(LIBID_zorvanlibLib, kMajorVersion, kMinorVersion, kLocale, loaded.put()));
    return loaded;
}

ComPointer<ITypeInfo> read(const HeldLock&, const IID& iid) {
    if (library == nullptr)
        library = loadRegistered().detach();
    ComPointer<ITypeInfo> information;
    throwIfFailed(library->GetTypeInfoOfGuid(iid, information.put()));
    return information;
}

} // namespace

TypeLibraryUse::TypeLibraryUse() noexcept {
    const HeldLock held(lock);
    ++libraryUsers;
}

TypeLibraryUse::~TypeLibraryUse() {
    const HeldLock held(lock);
    if (--libraryUsers != 0)
        return;
    while (firstLoaded != nullptr)
        std::exchange(firstLoaded, firstLoaded->nextLoaded_)->forget();
    ComPointer<ITypeLib>::attach(std::exchange(library, nullptr));
}

void TypeInformation::forget() {
    ComPointer<ITypeInfo>::attach(information_.exchange(nullptr));
}

HRESULT TypeInformation::get(UINT index, ITypeInfo** information) noexcept {
    return comGetter(information, [&] {
        if (index != 0)
            throw HResultError(DISP_E_BADINDEX);
        return ComPointer<ITypeInfo>(&loaded()).detach();
    });
}

HRESULT TypeInformation::idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) noexcept {
    if (!hasNames(names, count, ids))
        return E_POINTER;
    if (count == 0) // for which a type description has an error
        return S_OK;
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
    const HeldLock held(lock);
    if (ITypeInfo* kept = information_.load()) // another thread was faster
        return *kept;
    auto* const fresh = read(held, iid_).detach();
    nextLoaded_ = std::exchange(firstLoaded, this);
    information_ = fresh;
    return *fresh;
}

} // namespace zorvan
