#include "runner/thread_stacks.h"

#include <tlhelp32.h>

#include <cstdio>

namespace zorvan::test {

namespace {

constexpr int kDeepestFrame = 40;

void writeAddress(DWORD64 address) {
    HMODULE module = nullptr;
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // The address is one to look up, not one to use.
    const auto* place = reinterpret_cast<LPCWSTR>(address);
    char path[MAX_PATH] = "?";
    if (GetModuleHandleExW(kFlags, place, &module))
        GetModuleFileNameA(module, path, MAX_PATH);
    const std::string_view whole = path;
    const auto name = whole.substr(whole.find_last_of('\\') + 1);
    char line[MAX_PATH + 64];
    const int length = std::snprintf(
        line, sizeof line, "    %.*s+0x%llx\n", static_cast<int>(name.size()), name.data(),
        static_cast<unsigned long long>(address - reinterpret_cast<DWORD64>(module)));
    writeError({line, static_cast<std::size_t>(length)});
}

// A function without unwind data, such as a system call, keeps nothing but its return address on the stack.
bool unwindLeaf(CONTEXT& context) {
    const auto* top = reinterpret_cast<const void*>(context.Rsp);
    if (!ReadProcessMemory(GetCurrentProcess(), top, &context.Rip, sizeof context.Rip, nullptr))
        return false;
    context.Rsp += sizeof context.Rip;
    return context.Rip != 0;
}

// One frame outward; false at the end.
bool unwind(CONTEXT& context) {
    DWORD64 image = 0;
    auto* function = RtlLookupFunctionEntry(context.Rip, &image, nullptr);
    if (function == nullptr)
        return unwindLeaf(context);
    void* data = nullptr;
    DWORD64 frame = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, context.Rip, function, &context, &data, &frame, nullptr);
    return context.Rip != 0;
}

void writeStack(DWORD threadId) {
    HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, threadId);
    if (thread == nullptr)
        return;
    char title[64];
    const int length = std::snprintf(title, sizeof title, "  thread %lu\n", threadId);
    writeError({title, static_cast<std::size_t>(length)});
    alignas(16) CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    if (SuspendThread(thread) != static_cast<DWORD>(-1) && GetThreadContext(thread, &context))
        writeCalls(context);
    CloseHandle(thread);
}

} // namespace

void writeError(std::string_view text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void writeCalls(CONTEXT context) {
    int frames = 0;
    do
        writeAddress(context.Rip);
    while (++frames < kDeepestFrame && unwind(context));
}

void writeThreadStacks() {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && entry.th32ThreadID != GetCurrentThreadId())
            writeStack(entry.th32ThreadID);
    CloseHandle(snapshot);
}

} // namespace zorvan::test
