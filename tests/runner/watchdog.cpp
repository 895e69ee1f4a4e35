#include "runner/watchdog.h"

#include "runner/crash.h"

namespace zorvan::test {

void Watchdog::OnTestStart(const testing::TestInfo& test) {
    test_ = std::string(test.test_suite_name()) + "." + test.name();
    allow(kDefaultLimit);
}

void Watchdog::watch() {
    constexpr DWORD kLookInterval = 250; // milliseconds
    while (WaitForSingleObject(stop_.get(), kLookInterval) == WAIT_TIMEOUT)
        if (GetTickCount64() >= deadline_)
            endProgram();
}

void Watchdog::endProgram() {
    writeError(
        "\nThis test hangs: " + test_ + "\nThe program ends with code " + std::to_string(kExitCode) +
        ". Its threads stand here, innermost call first:\n");
    writeThreadStacks();
    TerminateProcess(GetCurrentProcess(), kExitCode);
}

} // namespace zorvan::test
