#include "module/module.h"

#include "module/running_mutex.h"

// The linker's name for the first byte of this module, which is what its instance handle points at.
extern "C" IMAGE_DOS_HEADER __ImageBase; // NOLINT(bugprone-reserved-identifier): the linker chose the name

namespace zorvan {

namespace {

struct Module {
    ModuleLock lock;
    UniqueHandle runningMutex = createRunningMutex();
};

Module module;

} // namespace

HINSTANCE moduleInstance() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

ModuleLock& moduleLock() {
    return module.lock;
}

} // namespace zorvan
