#include "module/module.h"

#include "module/running_mutex.h"

namespace zorvan {

namespace {

struct Module {
    RegistrationLock registrationLock;
    UniqueHandle runningMutex = createRunningMutex();
};

Module module;

} // namespace

RegistrationLock& registrationLock() {
    return module.registrationLock;
}

} // namespace zorvan
