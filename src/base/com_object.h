// What every COM object of the library is made of: identity, reference count, IDispatch from the type library.
#pragma once

#include "base/com_pointer.h"
#include "base/type_information.h"

#include <oaidl.h>
#include <unknwn.h>

#include <atomic>
#include <cstdint>
#include <type_traits>

namespace zorvan {

// The identifier of an interface; specialised for interfaces that the type library does not know.
template <class Interface>
inline const IID& kInterfaceId = __uuidof(Interface);

// QueryInterface over a fixed list of interfaces, the first of which stands for IUnknown. The reference count is the
// deriving class's.
template <class First, class... Rest>
class ComIdentity : public First, public Rest... {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (iid == IID_IUnknown)
            *object = static_cast<First*>(this);
        else
            (void)(offer<First>(iid, object) || ... || offer<Rest>(iid, object));
        if (*object == nullptr)
            return E_NOINTERFACE;
        static_cast<First*>(this)->AddRef();
        return S_OK;
    }

private:
    template <class Interface>
    bool offer(REFIID iid, void** object) noexcept {
        const bool asDispatch = std::is_base_of_v<IDispatch, Interface> && iid == IID_IDispatch;
        if (asDispatch || iid == kInterfaceId<Interface>)
            *object = static_cast<Interface*>(this);
        return *object != nullptr;
    }
};

// A reference count for objects that are destroyed by their last release. Starts at 0.
class ReferenceCount {
public:
    ULONG add() noexcept { return ++count_; }
    ULONG remove() noexcept { return --count_; }

    // False when there is no reference left to add to.
    bool tryAdd() noexcept {
        auto count = count_.load();
        while (count != 0)
            if (count_.compare_exchange_weak(count, count + 1))
                return true;
        return false;
    }

    // A destructor may hand the object out once more: the reference taken then must not destroy it a second time.
    void beginDestruction() noexcept { count_ = kBeingDestroyed; }

private:
    static constexpr std::uint32_t kBeingDestroyed = 0x40000000;
    std::atomic<std::uint32_t> count_{0};
};

// An object that lives as long as it is referenced.
template <class First, class... Rest>
class ComObject : public ComIdentity<First, Rest...> {
public:
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }

    ULONG STDMETHODCALLTYPE Release() noexcept override {
        const ULONG left = references_.remove();
        if (left == 0) {
            references_.beginDestruction();
            delete this;
        }
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    ReferenceCount references_;
};

// The IDispatch half of a dual interface, served from the registered type library.
template <class Interface>
class DualInterface : public Interface {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override {
        if (count == nullptr)
            return E_POINTER;
        *count = 1;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** information) noexcept override {
        return typeInformationOf<Interface>.get(index, information);
    }

    HRESULT STDMETHODCALLTYPE
    GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept override {
        return typeInformationOf<Interface>.idsOfNames(names, count, ids);
    }

    HRESULT STDMETHODCALLTYPE Invoke(
        DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
        UINT* badArgument) noexcept override {
        const ComPointer<Interface> self(this); // a member may lead to listeners, who may release the caller's
        return typeInformationOf<Interface>.invoke(
            static_cast<Interface*>(this), member, flags, parameters, result, exception, badArgument);
    }

private:
    TypeLibraryUse typeLibraryUse_;
};

// A dual interface answers for the interface that it implements.
template <class Interface>
inline const IID& kInterfaceId<DualInterface<Interface>> = __uuidof(Interface);

// Whether an object that a client brings is of the class of this one: then it can be cast to it. No query can tell,
// as another copy of this module answers it as well, and some objects say yes to everything; but every COM interface
// begins with the address of its table, and the table of a class is this copy's own.
template <class Interface>
bool isSameClass(const Interface& object, const Interface& own) {
    const auto tableOf = [](const Interface& of) { return *reinterpret_cast<const void* const*>(&of); };
    return tableOf(object) == tableOf(own);
}

template <class Object, class... Arguments>
ComPointer<Object> makeComObject(Arguments&&... arguments) {
    return ComPointer<Object>(new Object(std::forward<Arguments>(arguments)...));
}

} // namespace zorvan
