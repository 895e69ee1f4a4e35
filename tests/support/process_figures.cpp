#include "process_figures.h"

#include "base/unique.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include <psapi.h>
#include <tlhelp32.h>

// Declared with a plain number, as the table of handles is not among those that the system's header knows.
extern "C" NTSYSAPI long NTAPI NtQuerySystemInformation(int, void*, unsigned long, unsigned long*);

namespace zorvan::devkit {

namespace {

// The system's table of handles. Asked for the number of a process's handles, Wine answers with the size of its table
// or with 0; the handles themselves it lists truly.

constexpr int kHandleTable = 64;
constexpr LONG kTableIsLonger = static_cast<LONG>(0xC0000004);

struct HandleEntry {
    void* object;
    ULONG_PTR process;
    ULONG_PTR value;
    ULONG more[4];
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

static_assert(sizeof(HandleEntry) == 40 && offsetof(HandleTable, entries) == 16);

std::map<DWORD, std::size_t> countHandles() {
    std::vector<std::uint64_t> buffer(32768);
    for (LONG status = kTableIsLonger; status == kTableIsLonger; buffer.resize(2 * buffer.size())) {
        const auto size = static_cast<ULONG>(buffer.size() * sizeof buffer[0]);
        status = NtQuerySystemInformation(kHandleTable, buffer.data(), size, nullptr);
        if (status < 0 && status != kTableIsLonger)
            throw std::runtime_error("the system does not tell what its processes hold");
    }
    const auto& table = *reinterpret_cast<const HandleTable*>(buffer.data());
    std::map<DWORD, std::size_t> counts;
    for (ULONG_PTR i = 0; i < table.count; ++i)
        ++counts[static_cast<DWORD>(table.entries[i].process)];
    return counts;
}

std::vector<Process> runningProcesses() {
    auto handles = countHandles();
    std::vector<Process> processes;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    const auto table = fileHandle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    for (BOOL more = Process32FirstW(table.get(), &entry); more != FALSE;
         more = Process32NextW(table.get(), &entry)) {
        // One that has ended by now holds nothing.
        PROCESS_MEMORY_COUNTERS memory{};
        const UniqueHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
        GetProcessMemoryInfo(process.get(), &memory, sizeof memory);
        processes.push_back(
            {entry.th32ProcessID, entry.th32ParentProcessID, std::wstring(entry.szExeFile),
             handles[entry.th32ProcessID], entry.cntThreads, memory.PagefileUsage / 1024,
             memory.WorkingSetSize / 1024});
    }
    return processes;
}

const Process& processWithId(const std::vector<Process>& processes, DWORD id) {
    const auto found =
        std::find_if(processes.begin(), processes.end(), [&](const Process& process) { return process.id == id; });
    if (found == processes.end())
        throw std::runtime_error("a process has ended, or the ports have none");
    return *found;
}

} // namespace

Process thisProcess() {
    return processWithId(runningProcesses(), GetCurrentProcessId());
}

PortProcesses portProcesses() {
    const auto processes = runningProcesses();
    PortProcesses found;
    for (const auto& process : processes) {
        if (process.program != L"zorvan_host.exe")
            continue;
        found.hosts.parent = process.parent;
        found.hosts.handles += process.handles;
        found.hosts.threads += process.threads;
        found.hosts.privateKiB += process.privateKiB;
        found.hosts.workingSetKiB += process.workingSetKiB;
        ++found.hostCount;
    }
    found.driver = processWithId(processes, found.hosts.parent);
    found.client = processWithId(processes, GetCurrentProcessId());
    return found;
}

} // namespace zorvan::devkit
