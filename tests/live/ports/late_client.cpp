// A client that keeps its library object until the process ends, when the system has ended all other threads.
#include "support/client.h"

namespace {

zorvan::ComPointer<IVirtualSerialLibrary> library; // released by the DLL's static destructors

} // namespace

// For rundll32, which would unload this DLL first.
extern "C" __declspec(dllexport) void CALLBACK keepLibrary(HWND, HINSTANCE, LPSTR, int) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    library = zorvan::test::createRegisteredLibrary();
    ExitProcess(0);
}
