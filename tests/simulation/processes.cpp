#include "simulation/processes.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <cwchar>

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

constexpr LUID kDebugPrivilege{20, 0};

struct OpenedProcess : Object {
    OpenedProcess(Process& opened, DWORD rights) : process(opened), access(rights), id_(opened.id) {}
    std::string description() const override { return "process " + std::to_string(id_); }

    Process& process;
    const DWORD access;

private:
    const DWORD id_; // the process may be gone when a leak is described
};

struct Token : Object {
    explicit Token(DWORD rights) : access(rights) {}
    std::string description() const override { return "token"; }

    const DWORD access;
};

DWORD openError(const Machine& machine, const Process* process) {
    if (process == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (process->needsDebugPrivilege && !machine.processes.debugPrivilegeEnabled)
        return ERROR_ACCESS_DENIED;
    return process->openError;
}

HANDLE WINAPI openProcess(DWORD access, BOOL inherit, DWORD id) {
    Call call("OpenProcess", Hex{access}, inherit ? "inheritable" : "not inheritable", id);
    if (call.fails())
        return nullptr;
    auto* process = call->processes.find(id);
    if (const DWORD error = openError(call.machine(), process)) {
        SetLastError(error);
        return nullptr;
    }
    return call.open(std::make_shared<OpenedProcess>(*process, access));
}
SIMULATE(OpenProcess, openProcess);

BOOL WINAPI openProcessToken(HANDLE process, DWORD access, PHANDLE token) {
    Call call("OpenProcessToken", process == GetCurrentProcess() ? "own" : "other", Hex{access});
    if (call.fails())
        return FALSE;
    *token = call.open(std::make_shared<Token>(access));
    return TRUE;
}
SIMULATE(OpenProcessToken, openProcessToken);

BOOL WINAPI lookupPrivilegeValue(LPCWSTR system, LPCWSTR name, PLUID value) {
    Call call("LookupPrivilegeValueW", system, name);
    if (call.fails())
        return FALSE;
    if (std::wcscmp(name, L"SeDebugPrivilege") != 0)
        return Call::failed(ERROR_NO_SUCH_PRIVILEGE);
    *value = kDebugPrivilege;
    return TRUE;
}
SIMULATE(LookupPrivilegeValueW, lookupPrivilegeValue);

// Whether every privilege asked for is held; those held are changed.
bool applyPrivileges(Processes& processes, const TOKEN_PRIVILEGES& asked) {
    bool all = true;
    for (DWORD i = 0; i < asked.PrivilegeCount; ++i) {
        const auto& privilege = asked.Privileges[i];
        const bool held = processes.holdsDebugPrivilege && privilege.Luid.LowPart == kDebugPrivilege.LowPart;
        if (held)
            processes.debugPrivilegeEnabled = (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
        all = all && held;
    }
    return all;
}

std::string privilegesText(const TOKEN_PRIVILEGES* asked) {
    std::string text;
    for (DWORD i = 0; asked != nullptr && i < asked->PrivilegeCount; ++i)
        text += (i == 0 ? "" : " ") + std::to_string(asked->Privileges[i].Luid.LowPart) + "=" +
                std::to_string(asked->Privileges[i].Attributes);
    return text;
}

BOOL WINAPI adjustTokenPrivileges(
    HANDLE handle, BOOL disableAll, PTOKEN_PRIVILEGES asked, DWORD previousSize, PTOKEN_PRIVILEGES previous,
    PDWORD previousLength) {
    Call call("AdjustTokenPrivileges", disableAll ? "disable all" : "adjust", privilegesText(asked), previousSize);
    const auto token = call.object<Token>(handle);
    if (token == nullptr || call.fails())
        return FALSE;
    const DWORD needed = TOKEN_ADJUST_PRIVILEGES | (previous != nullptr ? TOKEN_QUERY : 0U);
    if ((token->access & needed) != needed)
        return Call::failed(ERROR_ACCESS_DENIED);
    const bool was = call->processes.debugPrivilegeEnabled;
    const bool all = applyPrivileges(call->processes, *asked);
    if (previous != nullptr) {
        previous->PrivilegeCount = was != call->processes.debugPrivilegeEnabled ? 1 : 0;
        previous->Privileges[0] = {kDebugPrivilege, 0};
        *previousLength = sizeof *previous;
    }
    SetLastError(all ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
    return TRUE;
}
SIMULATE(AdjustTokenPrivileges, adjustTokenPrivileges);

// The two processes of a duplication. This process is known by its pseudo handle.
std::shared_ptr<OpenedProcess> hostOf(const Call& call, HANDLE process) {
    return process == GetCurrentProcess() ? nullptr : call.object<OpenedProcess>(process);
}

std::string processText(HANDLE process) {
    return process == GetCurrentProcess() ? "own" : describe(process);
}

std::shared_ptr<Object> sourceObject(const Call& call, const OpenedProcess* from, HANDLE source) {
    if (from == nullptr)
        return call.object<Object>(source);
    const auto found = from->process.handles.find(reinterpret_cast<ULONG_PTR>(source));
    if (found == from->process.handles.end())
        SetLastError(ERROR_INVALID_HANDLE);
    return found == from->process.handles.end() ? nullptr : found->second;
}

bool mayDuplicate(const OpenedProcess* process) {
    return process == nullptr || ((process->access & PROCESS_DUP_HANDLE) != 0 && !process->process.refusesDuplicates);
}

BOOL WINAPI duplicateHandle(
    HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target, DWORD access, BOOL inherit,
    DWORD options) {
    // The C++ runtime inside the library duplicates handles of Windows itself within the process.
    const bool within = sourceProcess == GetCurrentProcess() && targetProcess == GetCurrentProcess();
    if (within && !HandleTable::isSimulated(source))
        return ::DuplicateHandle(sourceProcess, source, targetProcess, target, access, inherit, options);
    Call call(
        "DuplicateHandle", processText(sourceProcess), source, processText(targetProcess), Hex{access},
        inherit ? "inheritable" : "not inheritable", Hex{options});
    const auto from = hostOf(call, sourceProcess);
    const auto to = hostOf(call, targetProcess);
    if (call.fails())
        return FALSE;
    if (!mayDuplicate(from.get()) || !mayDuplicate(to.get()))
        return Call::failed(ERROR_ACCESS_DENIED);
    auto object = sourceObject(call, from.get(), source);
    if (object == nullptr)
        return FALSE;
    if (to == nullptr)
        *target = call.open(std::move(object));
    else
        *target = reinterpret_cast<HANDLE>(to->process.own(std::move(object)));
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0) {
        if (from == nullptr)
            call.close(source);
        else
            from->process.handles.erase(reinterpret_cast<ULONG_PTR>(source));
    }
    return TRUE;
}
SIMULATE(DuplicateHandle, duplicateHandle);

} // namespace

} // namespace zorvan::simulation
