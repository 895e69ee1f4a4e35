#include "child_process.h"

#include <stdexcept>

namespace zorvan::test {

namespace {

constexpr DWORD kTimeLimit = 60'000; // milliseconds

} // namespace

ChildProcess::ChildProcess(std::wstring commandLine, HANDLE output) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    if (output != nullptr) {
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = output;
    }
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started))
        throw std::runtime_error("a program cannot be started: error " + std::to_string(GetLastError()));
    CloseHandle(started.hThread);
    process_.reset(started.hProcess);
}

DWORD ChildProcess::exitCode() const {
    DWORD code = 0;
    if (WaitForSingleObject(process_.get(), kTimeLimit) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(process_.get(), &code))
        throw std::runtime_error("a program has not ended");
    return code;
}

} // namespace zorvan::test
