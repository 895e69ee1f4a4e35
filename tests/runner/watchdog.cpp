#include "runner/watchdog.h"

#include "runner/thread_stacks.h"

#include <cstdio>

namespace zorvan::test {

namespace {

constexpr ULONGLONG kNoDeadline = ~0ULL;
constexpr DWORD kLookInterval = 250;

ULONGLONG fromNow(std::chrono::seconds limit) {
    return GetTickCount64() + static_cast<ULONGLONG>(std::chrono::milliseconds(limit).count());
}

} // namespace

Watchdog::Watchdog() : stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), thread_([this] { watch(); }) {}

Watchdog::~Watchdog() {
    SetEvent(stop_);
    thread_.join();
    CloseHandle(stop_);
}

void Watchdog::OnTestStart(const testing::TestInfo& test) {
    test_ = std::string(test.test_suite_name()) + "." + test.name();
    allow(kDefaultLimit);
}

void Watchdog::OnTestEnd(const testing::TestInfo&) {
    deadline_ = kNoDeadline;
}

void Watchdog::allow(std::chrono::seconds limit) {
    deadline_ = fromNow(limit);
}

void Watchdog::watch() {
    while (WaitForSingleObject(stop_, kLookInterval) == WAIT_TIMEOUT)
        if (GetTickCount64() >= deadline_)
            endProgram();
}

void Watchdog::endProgram() {
    // Past the C library: the thread that hangs may hold its locks.
    writeError(
        "\nThis test hangs: " + test_ + "\nThe program ends with code " + std::to_string(kExitCode) +
        ". Its threads stand here, innermost call first:\n");
    writeThreadStacks();
    TerminateProcess(GetCurrentProcess(), kExitCode);
    ExitProcess(kExitCode);
}

} // namespace zorvan::test
