#include "module/class_factory.h"

#include "api/virtual_serial_library.h"
#include "base/hresult_error.h"
#include "base/module_lock_count.h"

namespace zorvan {

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept {
    return comBoundary([&]() -> HRESULT {
        requirePointer(object);
        *object = nullptr;
        if (clsid_ != CLSID_VirtualSerialLibrary)
            return REGDB_E_CLASSNOTREG;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;

        const auto library = CVirtualSerialLibrary::create();
        const HRESULT result = library->QueryInterface(iid, object);
        // Oddity 7 of docs/architecture.md.
        if (FAILED(result))
            moduleLockCount::add();
        return result;
    });
}

HRESULT CClassFactory::LockServer(BOOL lock) noexcept {
    if (lock != FALSE)
        moduleLockCount::add();
    else
        moduleLockCount::remove();
    return S_OK;
}

} // namespace zorvan
