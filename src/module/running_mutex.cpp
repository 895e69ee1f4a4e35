#include "module/running_mutex.h"

#include "security/security_descriptor.h"

namespace zorvan {

namespace {

constexpr wchar_t kName[] = L"Global\\QeltraSoftware_ZORVANLIB_Running_Mutex";

SecurityDescriptor everyoneMayDoEverything() {
    Dacl dacl;
    dacl.addAllowed(Sid(SECURITY_WORLD_SID_AUTHORITY, {SECURITY_WORLD_RID}), MUTEX_ALL_ACCESS);
    SecurityDescriptor descriptor;
    descriptor.setDacl(dacl);
    return descriptor;
}

} // namespace

UniqueHandle createRunningMutex() noexcept {
    try {
        auto descriptor = everyoneMayDoEverything();
        SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
        return UniqueHandle(CreateMutexW(&attributes, TRUE, kName));
    } catch (...) {
        // Whatever keeps the mutex from being made must not keep the library from being loaded.
        return {};
    }
}

} // namespace zorvan
