// The type information of the dual interfaces, for serving IDispatch.
#pragma once

#include <oaidl.h>

#include <atomic>

namespace zorvan {

// Held by each object that is served from the type library. What has been read of the library is shared by all of
// them, and let go with the last.
class TypeLibraryUse {
public:
    TypeLibraryUse() noexcept;
    TypeLibraryUse(const TypeLibraryUse&) = delete;
    TypeLibraryUse& operator=(const TypeLibraryUse&) = delete;
    ~TypeLibraryUse();
};

// Of one interface; taken from the registered type library when it is first needed. For holders of a TypeLibraryUse,
// on any thread.
class TypeInformation {
public:
    constexpr explicit TypeInformation(const IID& iid) : iid_(iid) {}
    TypeInformation(const TypeInformation&) = delete;
    TypeInformation& operator=(const TypeInformation&) = delete;
    ~TypeInformation() = default; // the last TypeLibraryUse has left nothing

    HRESULT get(UINT index, ITypeInfo** information) noexcept;
    HRESULT idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) noexcept;
    HRESULT invoke(
        void* instance, DISPID member, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
        UINT* badArgument) noexcept;

private:
    friend class TypeLibraryUse;

    // Throws when there is no registered type library.
    ITypeInfo& loaded();
    void forget();

    const IID& iid_;
    std::atomic<ITypeInfo*> information_{nullptr};
    TypeInformation* nextLoaded_ = nullptr;
};

template <class Interface>
inline constinit TypeInformation typeInformationOf{__uuidof(Interface)};

} // namespace zorvan
