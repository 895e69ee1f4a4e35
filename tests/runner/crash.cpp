#include "runner/crash.h"

#include "runner/thread_stacks.h"

#include <windows.h>

#include <cstdio>

namespace zorvan::test {

namespace {

LONG WINAPI onCrash(EXCEPTION_POINTERS* crash) {
    char text[64];
    const int length = std::snprintf(
        text, sizeof text, "\nThe test crashes, exception 0x%lx:\n", crash->ExceptionRecord->ExceptionCode);
    writeError({text, static_cast<std::size_t>(length)});
    writeCalls(*crash->ContextRecord);
    TerminateProcess(GetCurrentProcess(), kCrashExitCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

void reportCrashes() {
    SetUnhandledExceptionFilter(onCrash);
}

} // namespace zorvan::test
