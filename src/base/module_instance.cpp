#include "base/module_instance.h"

// The linker's name for the first byte of this module, which is what its instance handle points at.
extern "C" IMAGE_DOS_HEADER __ImageBase; // NOLINT(bugprone-reserved-identifier): the linker chose the name

namespace zorvan {

HINSTANCE moduleInstance() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

} // namespace zorvan
