// msports.dll for Wine: takes the place of Wine's own through a DLL override.
//
// Wine 8 lacks functions that virtual COM ports need. This DLL stands in for all of them:
//   - msports itself, which is stubs only: the COM port database (msports_exports.cpp) and the Ports class
//     installer (ports_class_installer.cpp);
//   - setupapi's SetupDiOpenDeviceInterfaceW and SetupDiSetClassInstallParamsW, which fail without a last error
//     (setupapi_stand_in.cpp);
//   - newdev's DiInstallDevice, which ends the calling program (newdev_stand_in.cpp);
//   - DefineDosDeviceW, which takes other ports' names away (kernelbase_stand_in.cpp).
// The rest of these DLLs works and is needed, by Wine itself among others, so they are not replaced: while this one
// is loaded, the four functions are redirected, and two more that only need a lock around them (device_tree.cpp).
// Programs that use the port database import msports.dll and so have them.
#include "device_tree.h"
#include "kernelbase_stand_in.h"
#include "newdev_stand_in.h"
#include "setupapi_stand_in.h"

#include <windows.h>

#include <array>

namespace {

using zorvan::devkit::deviceTreeRedirects;
using zorvan::devkit::ExportRedirect;

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

// Not inside a function: the guard of a local one would leave two handles in the process with each unloading.
std::array<ExportRedirect, 4> redirects{
    ExportRedirect(address(&SetupDiOpenDeviceInterfaceW), address(&zorvan::devkit::openDeviceInterface)),
    ExportRedirect(address(&SetupDiSetClassInstallParamsW), address(&zorvan::devkit::setClassInstallParams)),
    ExportRedirect(address(&DiInstallDevice), address(&zorvan::devkit::installDevice)),
    ExportRedirect(zorvan::devkit::systemDefineDosDevice(), address(&zorvan::devkit::defineDosDevice))};

// setupapi loads and unloads the class installer for each of its calls, also in the driver process. A C++ DLL does
// not give back all thread-local slots that a loading takes, and when they have run out it ends the process.
bool stayLoaded() {
    HMODULE self = nullptr;
    return GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
        reinterpret_cast<const wchar_t*>(&stayLoaded), &self);
}

// A redirect that is in place already is taken back by its destructor when the DLL fails to load.
BOOL attach() {
    if (!stayLoaded())
        return FALSE;
    for (ExportRedirect& redirect : redirects)
        if (!redirect.install())
            return FALSE;
    // On a Wine where these cannot be redirected, changes of the device tree that overlap may go wrong; rarely.
    for (ExportRedirect& redirect : deviceTreeRedirects)
        redirect.install();
    return TRUE;
}

void detach(ExportRedirect& redirect, bool processEnds) {
    if (processEnds)
        redirect.abandon();
    else
        redirect.remove();
}

void detach(bool processEnds) {
    for (ExportRedirect& redirect : redirects)
        detach(redirect, processEnds);
    for (ExportRedirect& redirect : deviceTreeRedirects)
        detach(redirect, processEnds);
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* reserved) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        return attach();
    case DLL_PROCESS_DETACH:
        detach(reserved != nullptr);
        return TRUE;
    default:
        return TRUE;
    }
}
