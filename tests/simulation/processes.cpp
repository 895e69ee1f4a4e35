#include "simulation/processes.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

std::uint64_t Process::own(std::shared_ptr<Object> object) {
    next_ += 4;
    handles[next_] = std::move(object);
    return next_;
}

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

// One end of a duplication; no process of the simulation's for this process, which is known by its pseudo handle.
std::shared_ptr<OpenedProcess> endOf(const Call& call, HANDLE process) {
    if (process == GetCurrentProcess())
        return nullptr;
    const auto end = call.object<OpenedProcess>(process);
    failIf((end->access & PROCESS_DUP_HANDLE) == 0 || end->process.refusesDuplicates, ERROR_ACCESS_DENIED);
    return end;
}

std::shared_ptr<Object> sourceObject(const Call& call, const OpenedProcess* from, HANDLE source) {
    if (from == nullptr)
        return call.object<Object>(source);
    const auto found = from->process.handles.find(reinterpret_cast<ULONG_PTR>(source));
    failIf(found == from->process.handles.end(), ERROR_INVALID_HANDLE);
    return found->second;
}

void closeSource(const Call& call, const OpenedProcess* from, HANDLE source) {
    if (from == nullptr)
        call.forget(source);
    else
        from->process.handles.erase(reinterpret_cast<ULONG_PTR>(source));
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
    const auto from = endOf(call, sourceProcess);
    const auto to = endOf(call, targetProcess);
    auto object = sourceObject(call, from.get(), source);
    if (to == nullptr)
        *target = call.open(std::move(object));
    else
        *target = reinterpret_cast<HANDLE>(to->process.own(std::move(object)));
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0)
        closeSource(call, from.get(), source);
}

} // namespace

} // namespace zorvan::simulation
