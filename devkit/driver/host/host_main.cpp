// zorvan_host.exe HANDLE: holds the handles that clients duplicate into it, until the driver ends it.
//
// HANDLE is an inherited handle of the driver process: the host ends with that process, so that none is left behind
// when the driver process dies.
#include <windows.h>

#include <cstdint>
#include <cwchar>

extern "C" NTSYSAPI long NTAPI NtSetInformationProcess(HANDLE, int, void*, unsigned long);

namespace {

// Wine's own: a system process does not keep the session alive when the last program of the user has ended. The
// answer is an event that is signalled then; the driver process, a system process too, ends first and us with it.
// Declared with a plain number, as the class is not among those that the system's header knows.
constexpr int kMakeSystemProcess = 1000;

void becomeSystemProcess() {
    HANDLE sessionEnds = nullptr;
    NtSetInformationProcess(GetCurrentProcess(), kMakeSystemProcess, &sessionEnds, sizeof sessionEnds);
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t* lpCmdLine, int) {
    becomeSystemProcess();
    // Handle values have 32 significant bits.
    const std::uintptr_t handle = std::wcstoul(lpCmdLine, nullptr, 10);
    auto* const driverProcess = reinterpret_cast<HANDLE>(handle);
    return WaitForSingleObject(driverProcess, INFINITE) == WAIT_OBJECT_0 ? 0 : 1;
}
