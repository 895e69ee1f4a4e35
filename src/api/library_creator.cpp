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

        const auto library = CVirtualSerialLibrary::create();
        const HRESULT result = library->QueryInterface(iid, object);
        // Oddity 7 of docs/architecture.md.
        if (FAILED(result))
            moduleLockCount::add();
        return result;
    });
}

} // namespace zorvan
