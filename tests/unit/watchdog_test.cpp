// A test that hangs ends the program with a code of its own, and says which test it was and where it stood.
#include "runner/runner.h"
#include "runner/watchdog.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace zorvan::test {

namespace {

constexpr char kHangingTest[] = "HangWatchdog.DISABLED_Hangs";

// Runs in a second process only.
TEST(HangWatchdog, DISABLED_Hangs) {
    allowTime(std::chrono::seconds(1));
    Sleep(INFINITE);
}

std::wstring temporaryFile() {
    wchar_t folder[MAX_PATH + 1];
    wchar_t file[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    GetTempFileNameW(folder, L"dog", 0, file);
    return file;
}

// Runs this program with these arguments, its messages going to a file; the result is its exit code.
DWORD runProgram(const std::wstring& arguments, const std::wstring& messages) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE file = CreateFileW(messages.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS, 0, nullptr);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = file;
    startup.hStdError = file;
    std::wstring commandLine = L"\"" + programPath() + L"\" " + arguments;
    PROCESS_INFORMATION process{};
    DWORD exitCode = 0;
    if (CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(file);
    return exitCode;
}

std::string readAndDelete(const std::wstring& path) {
    std::string narrow(path.begin(), path.end());
    std::stringstream text;
    text << std::ifstream(narrow).rdbuf();
    DeleteFileW(path.c_str());
    return text.str();
}

TEST(HangWatchdog, EndsAProgramWhoseTestHangs) {
    const auto messages = temporaryFile();
    const std::wstring filter(kHangingTest, kHangingTest + sizeof kHangingTest - 1);
    EXPECT_EQ(
        runProgram(L"--gtest_also_run_disabled_tests --gtest_filter=" + filter, messages), DWORD{Watchdog::kExitCode});
    const auto text = readAndDelete(messages);
    EXPECT_NE(text.find(std::string("This test hangs: ") + kHangingTest), std::string::npos) << text;
    EXPECT_NE(text.find("ntdll.dll+0x"), std::string::npos) << text;
    EXPECT_NE(text.find("unit_tests.exe+0x"), std::string::npos) << text;
}

} // namespace

} // namespace zorvan::test
