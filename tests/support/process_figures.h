// What the system says that its processes hold.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zorvan::devkit {

struct Process {
    DWORD id = 0;
    DWORD parent = 0;
    std::wstring program = {}; // the name of its file, without the folder
    std::size_t handles = 0;
    std::size_t threads = 0;
    std::size_t privateKiB = 0; // memory that belongs to the process alone, in the working set or swapped out
    std::size_t workingSetKiB = 0;
};

// All of these throw a std::runtime_error when the system does not tell.

Process thisProcess();

// What the ports' processes hold, and this one.
struct PortProcesses {
    Process client; // this one
    Process driver; // has started the host processes
    Process hosts;  // all of them together
    std::size_t hostCount = 0;
};

PortProcesses portProcesses();

} // namespace zorvan::devkit
