#include "module/class_factory.h"

#include "base/module_lock_count.h"
#include "module/class_table.h"

namespace zorvan {

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept {
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    for (const ClassEntry& entry : classTable())
        if (*entry.clsid == clsid_)
            return entry.create(outer, iid, object);
    return REGDB_E_CLASSNOTREG;
}

HRESULT CClassFactory::LockServer(BOOL lock) noexcept {
    if (lock != FALSE)
        moduleLockCount::add();
    else
        moduleLockCount::remove();
    return S_OK;
}

} // namespace zorvan
