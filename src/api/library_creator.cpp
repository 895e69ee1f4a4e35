#include "api/library_creator.h"

#include "api/virtual_serial_library.h"
#include "base/hresult_error.h"
#include "base/module_lock_count.h"

namespace zorvan {

HRESULT createLibraryObject(IUnknown* outer, REFIID iid, void** object) noexcept {
    return comBoundary([&]() -> HRESULT {
        requirePointer(object);
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;

        auto library = CVirtualSerialLibrary::create();
        moduleLockCount::add();
        const HRESULT result = library->QueryInterface(iid, object);
        // A library object lowers the lock count only when its last reference goes. One that never gave out a
        // reference does not: the module then stays loaded. Intended.
        if (SUCCEEDED(result))
            (void)library.release(); // its references own it from now on
        return result;
    });
}

} // namespace zorvan
