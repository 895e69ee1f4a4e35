// The class factory behind DllGetClassObject.
#pragma once

#include "base/com_object.h"

namespace zorvan {

class CClassFactory final : public ComObject<IClassFactory> {
public:
    // Takes any class identifier: oddity 8 of docs/architecture.md.
    explicit CClassFactory(REFCLSID clsid) : clsid_(clsid) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

private:
    ~CClassFactory() override = default;

    const CLSID clsid_;
};

} // namespace zorvan
