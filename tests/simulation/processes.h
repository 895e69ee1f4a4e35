// Processes that can be opened, and the privileges of this one.
#pragma once

#include "simulation/handle_table.h"

#include <cstdint>
#include <map>

namespace zorvan::simulation {

// A driver's host process.
struct Process {
    DWORD id = 0;
    DWORD openError = ERROR_SUCCESS; // OpenProcess fails with it
    bool needsDebugPrivilege = false;
    bool refusesDuplicates = false;
    HandleTable handles;

    // Gives the process a handle of its own, as its driver does; returns the value.
    std::uint64_t own(std::shared_ptr<Object> object) {
        return reinterpret_cast<ULONG_PTR>(handles.open(std::move(object)));
    }
};

class Call;

// The handles of one end of a duplication. This process is known by its pseudo handle.
HandleTable& handlesOf(const Call& call, HANDLE process);

class Processes {
public:
    Process& add(DWORD id);
    Process* find(DWORD id);

    bool debugPrivilegeEnabled = false;

private:
    std::map<DWORD, Process> processes_;
};

} // namespace zorvan::simulation
