// The type information of one interface, for serving IDispatch.
#pragma once

#include <oaidl.h>

#include <atomic>

namespace zorvan {

// Taken from the registered type library when it is first needed, and kept. May be used by several threads at once.
class TypeInformation {
public:
    explicit TypeInformation(const IID& iid) : iid_(iid) {}
    TypeInformation(const TypeInformation&) = delete;
    TypeInformation& operator=(const TypeInformation&) = delete;
    ~TypeInformation();

    HRESULT get(UINT index, ITypeInfo** information) noexcept;
    HRESULT idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) noexcept;
    HRESULT invoke(
        void* instance, DISPID member, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
        UINT* badArgument) noexcept;

private:
    // The kept reference; throws when there is no registered type library.
    ITypeInfo& loaded();

    const IID& iid_;
    std::atomic<ITypeInfo*> information_{nullptr};
};

} // namespace zorvan
