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

const char* inheritance(BOOL inherit) {
    return inherit ? "inheritable" : "not inheritable";
}

SIMULATE(HANDLE, OpenProcess, DWORD access, BOOL inherit, DWORD id) {
    const FailableCall call("OpenProcess", Hex{access}, inheritance(inherit), id);
    auto* process = call->processes.find(id);
    failIf(process == nullptr, ERROR_INVALID_PARAMETER);
    failIf(process->needsDebugPrivilege && !call->processes.debugPrivilegeEnabled, ERROR_ACCESS_DENIED);
    failIf(process->openError != ERROR_SUCCESS, process->openError);
    return call.open(std::make_shared<OpenedProcess>(*process, access));
}

std::string processText(HANDLE process) {
    return process == GetCurrentProcess() ? "own" : describe(process);
}

// The handles of one end of a duplication. This process is known by its pseudo handle.
HandleTable& handlesOf(const Call& call, HANDLE process) {
    if (process == GetCurrentProcess())
        return call->handles;
    const auto opened = call.object<OpenedProcess>(process);
    const bool refuses = (opened->access & PROCESS_DUP_HANDLE) == 0 || opened->process.refusesDuplicates;
    failIf(refuses, ERROR_ACCESS_DENIED);
    return opened->process.handles;
}

SIMULATE(
    BOOL, DuplicateHandle, HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target, DWORD access,
    BOOL inherit, DWORD options) {
    // The C++ runtime inside the library duplicates handles of Windows itself within the process.
    const bool within = sourceProcess == GetCurrentProcess() && targetProcess == GetCurrentProcess();
    if (within && !HandleTable::isSimulated(source))
        return succeedAs(::DuplicateHandle(sourceProcess, source, targetProcess, target, access, inherit, options));
    const FailableCall call(
        "DuplicateHandle", processText(sourceProcess), source, processText(targetProcess), Hex{access},
        inheritance(inherit), Hex{options});
    auto& from = handlesOf(call, sourceProcess);
    auto& to = handlesOf(call, targetProcess);
    const auto object = &from == &call->handles ? call.object<Object>(source) : from.find(source);
    failIf(object == nullptr, ERROR_INVALID_HANDLE);
    *target = to.open(object);
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0)
        from.close(source);
}

} // namespace

} // namespace zorvan::simulation
