#include "simulation/processes.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

Process& Processes::add(DWORD id) {
    auto& process = processes_[id];
    process.id = id;
    return process;
}

Process* Processes::find(DWORD id) {
    const auto found = processes_.find(id);
    return found == processes_.end() ? nullptr : &found->second;
}

namespace {

struct OpenedProcess : Object {
    OpenedProcess(Process& opened, DWORD rights)
        : Object("process " + std::to_string(opened.id)), process(opened), access(rights) {}

    Process& process;
    const DWORD access;
};

SIMULATE(HANDLE, OpenProcess, DWORD access, BOOL inherit, DWORD id) {
    auto* process = call->processes.find(id);
    failIf(process == nullptr, ERROR_INVALID_PARAMETER);
    failIf(process->needsDebugPrivilege && !call->processes.debugPrivilegeEnabled, ERROR_ACCESS_DENIED);
    failIf(process->openError != ERROR_SUCCESS, process->openError);
    return call.open(std::make_shared<OpenedProcess>(*process, access));
}

} // namespace

HandleTable& handlesOf(const Call& call, HANDLE process) {
    if (process == GetCurrentProcess())
        return call->handles;
    const auto opened = call.object<OpenedProcess>(process);
    const bool refuses = (opened->access & PROCESS_DUP_HANDLE) == 0 || opened->process.refusesDuplicates;
    failIf(refuses, ERROR_ACCESS_DENIED);
    return opened->process.handles;
}

} // namespace zorvan::simulation
