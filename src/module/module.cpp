#include "module/module.h"

#include "module/running_mutex.h"

namespace zorvan {

namespace {

struct Module {
    ModuleLock lock;
    UniqueHandle runningMutex = createRunningMutex();
};

Module module;

} // namespace

ModuleLock& moduleLock() {
    return module.lock;
}

} // namespace zorvan
