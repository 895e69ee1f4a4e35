#include "module/class_table.h"

#include "api/library_creator.h"
#include "module/resource.h"

#include <zorvanlib.h>

namespace zorvan {

std::span<const ClassEntry> classTable() {
    static constexpr ClassEntry kClasses[] = {
        {&CLSID_VirtualSerialLibrary, createLibraryObject, IDR_CLASS_SCRIPT},
    };
    return kClasses;
}

} // namespace zorvan
