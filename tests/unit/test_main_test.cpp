// A test that hangs or crashes ends its program with a code of its own, and the program says where it stood.
#include "runner/crash.h"
#include "runner/runner.h"
#include "runner/watchdog.h"
#include "support/program.h"

#include <gtest/gtest.h>

namespace zorvan::test {

namespace {

void expectEnd(const wchar_t* program, DWORD exitCode, std::initializer_list<const char*> messages) {
    const auto result = runProgram(siblingPath(program));
    EXPECT_EQ(result.exitCode, exitCode);
    for (const auto* message : messages)
        EXPECT_NE(result.output.find(message), std::string::npos) << message << " is missing in:\n" << result.output;
}

TEST(TestMain, EndsAProgramWhoseTestHangs) {
    expectEnd(
        L"aids\\hangs.exe", Watchdog::kExitCode, {"This test hangs: Program.Hangs", "ntdll.dll+0x", "hangs.exe+0x"});
}

TEST(TestMain, EndsAProgramWhoseTestCrashes) {
    expectEnd(L"aids\\crashes.exe", kCrashExitCode, {"exception 0xc0000005", "crashes.exe+0x"});
}

} // namespace

} // namespace zorvan::test
