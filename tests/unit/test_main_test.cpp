// A test that hangs or crashes ends its program with a code of its own, and the program says where it stood.
#include "runner/crash.h"
#include "runner/runner.h"
#include "runner/watchdog.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace zorvan::test {

namespace {

std::wstring temporaryFile() {
    wchar_t folder[MAX_PATH + 1];
    wchar_t file[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    GetTempFileNameW(folder, L"dog", 0, file);
    return file;
}

// Runs a program, its messages going to a file; the result is its exit code.
DWORD run(std::wstring program, const std::wstring& messages) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE file =
        CreateFileW(messages.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS, 0, nullptr);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = file;
    startup.hStdError = file;
    PROCESS_INFORMATION process{};
    DWORD exitCode = 0;
    if (CreateProcessW(nullptr, program.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
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

void expectEnd(const wchar_t* program, DWORD exitCode, std::initializer_list<const char*> messages) {
    const auto file = temporaryFile();
    EXPECT_EQ(run(siblingPath(program), file), exitCode);
    const auto text = readAndDelete(file);
    for (const auto* message : messages)
        EXPECT_NE(text.find(message), std::string::npos) << message << " is missing in:\n" << text;
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
