// A program that a test starts. It does not outlive the test.
#pragma once

#include "base/unique.h"

#include <string>

namespace zorvan::test {

inline void endProcess(HANDLE process) {
    TerminateProcess(process, 1); // nothing happens to a process that has ended
    CloseHandle(process);
}

class ChildProcess {
public:
    // Its output goes to an inheritable handle, if there is one. Throws when the program cannot be started.
    explicit ChildProcess(std::wstring commandLine, HANDLE output = nullptr);

    // Waits for its end, for at most a minute. Throws when there is none.
    DWORD exitCode() const;

private:
    Unique<endProcess> process_;
};

} // namespace zorvan::test
