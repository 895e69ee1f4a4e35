// What the system says that its processes hold.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zorvan::devkit {

struct ProcessFigures {
    std::int64_t processes = 0;
    std::int64_t handles = 0;
    std::int64_t threads = 0;
    std::int64_t privateKiB = 0; // memory that belongs to the process alone, in the working set or swapped out
    std::int64_t workingSetKiB = 0;

    ProcessFigures& operator+=(const ProcessFigures& other);
};

struct Process {
    DWORD id;
    DWORD parent;
    std::wstring program; // the name of its file, without the folder
    ProcessFigures figures;
};

// All that run now. Throws a std::runtime_error when the system does not tell.
std::vector<Process> runningProcesses();

} // namespace zorvan::devkit
