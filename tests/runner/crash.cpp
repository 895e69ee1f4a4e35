#include "runner/crash.h"

#include <windows.h>

#include <tlhelp32.h>

#include <cstdio>

namespace zorvan::test {
namespace {

constexpr int kDeepestFrame = 40;

void writeAddress(DWORD64 address) {
    HMODULE module = nullptr;
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    char path[MAX_PATH] = "?";
    // The address is one to look up, not one to use.
    if (GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(address), &module))
        GetModuleFileNameA(module, path, MAX_PATH);
    char line[MAX_PATH + 64];
    std::snprintf(line, sizeof line, "    %s+0x%llx\n", path, address - reinterpret_cast<DWORD64>(module));
    writeError(line);
}

// One frame outward; false at the end.
bool unwind(CONTEXT& context) {
    DWORD64 image = 0;
    void* data = nullptr;
    DWORD64 frame = 0;
    if (auto* const function = RtlLookupFunctionEntry(context.Rip, &image, nullptr))
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, context.Rip, function, &context, &data, &frame, nullptr);
    else {
        // One without unwind data, such as a system call, keeps nothing but its return address on the stack.
        const auto* const top = reinterpret_cast<const void*>(context.Rsp);
        if (!ReadProcessMemory(GetCurrentProcess(), top, &context.Rip, sizeof context.Rip, nullptr))
            return false;
        context.Rsp += sizeof context.Rip;
    }
    return context.Rip != 0;
}

// One thread's calls, innermost first, from where the context stands.
void writeCalls(CONTEXT context) {
    int frames = 0;
    do
        writeAddress(context.Rip);
    while (++frames < kDeepestFrame && unwind(context));
}

void writeStack(DWORD threadId) {
    char title[64]; // the heap may be locked by a thread that is suspended
    std::snprintf(title, sizeof title, "  thread %lu\n", threadId);
    writeError(title);
    alignas(16) CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, threadId); // closed by the end
    if (SuspendThread(thread) != static_cast<DWORD>(-1) && GetThreadContext(thread, &context))
        writeCalls(context);
}

LONG WINAPI onCrash(EXCEPTION_POINTERS* crash) {
    char text[64];
    std::snprintf(text, sizeof text, "\nThe test crashes, exception 0x%lx:\n", crash->ExceptionRecord->ExceptionCode);
    writeError(text);
    writeCalls(*crash->ContextRecord);
    TerminateProcess(GetCurrentProcess(), kCrashExitCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

void reportCrashes() {
    SetUnhandledExceptionFilter(onCrash);
}

void writeError(std::string_view text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void writeThreadStacks() {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0); // closed by the end of the process
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && entry.th32ThreadID != GetCurrentThreadId())
            writeStack(entry.th32ThreadID);
}

} // namespace zorvan::test
