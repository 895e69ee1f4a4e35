// The entry points of the DLL.

#include "base/exception_state.h"
#include "base/hresult_error.h"
#include "base/module_lock_count.h"
#include "module/class_factory.h"
#include "module/module.h"
#include "module/registration.h"
#include "setup/auto_install.h"

using namespace zorvan;

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    return reason != DLL_PROCESS_ATTACH || (registrationLock().usable() && exceptionsCanBeHandled());
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return comBoundary([&] {
        requirePointer(object);
        *object = nullptr; // also when no factory can be made
        return makeComObject<CClassFactory>(clsid)->QueryInterface(iid, object);
    });
}

STDAPI DllCanUnloadNow() {
    return moduleLockCount::isZero() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    return comBoundary([] { return registration::registerServer(); });
}

STDAPI DllUnregisterServer() {
    return comBoundary([] { return registration::unregisterServer(); });
}

STDAPI DllInstall(BOOL install, PCWSTR commandLine) {
    return comBoundary([&] { return registration::install(install != FALSE, commandLine); });
}

// Called by setup programs, without COM. The first argument is reserved.
STDAPI AutoInstallEx(UINT_PTR, int mode) {
    return comBoundary([&] { return setup::autoInstall(mode); });
}
