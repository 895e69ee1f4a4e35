#include "process_figures.h"

#include <map>
#include <stdexcept>

// Declared with a plain number, as the table of handles is not among those that the system's header knows.
extern "C" NTSYSAPI long NTAPI NtQuerySystemInformation(int, void*, unsigned long, unsigned long*);

namespace zorvan::devkit {

namespace {

// The system's tables of processes and of handles, of which its header shows less than there is. Asked for the number
// of a process's handles, Wine answers with the size of its table or with 0; the handles themselves it lists truly.

constexpr int kProcessTable = 5;
constexpr int kHandleTable = 64;
constexpr LONG kTableIsLonger = static_cast<LONG>(0xC0000004);

struct ProgramName {
    USHORT size; // in bytes
    USHORT capacity;
    wchar_t* text;
};

struct ProcessEntry {
    ULONG offsetOfNext; // 0: this is the last one
    ULONG threads;
    LARGE_INTEGER reserved[3];
    LARGE_INTEGER times[3];
    ProgramName program;
    LONG priority;
    HANDLE id;
    HANDLE parent;
    ULONG handles;
    ULONG session;
    ULONG_PTR key;
    SIZE_T peakVirtualSize;
    SIZE_T virtualSize;
    ULONG pageFaults;
    SIZE_T peakWorkingSet;
    SIZE_T workingSet;
    SIZE_T quotas[4];
    SIZE_T privateSize;
};

struct HandleEntry {
    void* object;
    ULONG_PTR process;
    ULONG_PTR value;
    ULONG access;
    USHORT creator;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

static_assert(offsetof(ProcessEntry, workingSet) == 144 && offsetof(ProcessEntry, privateSize) == 184);
static_assert(sizeof(HandleEntry) == 40 && offsetof(HandleTable, entries) == 16);

// Aligned for the tables that it holds.
using Table = std::vector<std::uint64_t>;

Table readTable(int which) {
    constexpr std::size_t kStart = 32768;
    Table table(kStart);
    for (;;) {
        const auto size = static_cast<ULONG>(table.size() * sizeof table[0]);
        const LONG status = NtQuerySystemInformation(which, table.data(), size, nullptr);
        if (status >= 0)
            return table;
        if (status != kTableIsLonger)
            throw std::runtime_error("the system does not tell what its processes hold");
        table.resize(2 * table.size());
    }
}

std::map<DWORD, std::int64_t> countHandles() {
    const auto table = readTable(kHandleTable);
    const auto& handles = *reinterpret_cast<const HandleTable*>(table.data());
    std::map<DWORD, std::int64_t> counts;
    for (ULONG_PTR i = 0; i < handles.count; ++i)
        ++counts[static_cast<DWORD>(handles.entries[i].process)];
    return counts;
}

DWORD idOf(HANDLE value) {
    return static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(value));
}

std::int64_t kibibytes(SIZE_T bytes) {
    return static_cast<std::int64_t>(bytes / 1024);
}

Process processOf(const ProcessEntry& entry, const std::map<DWORD, std::int64_t>& handles) {
    const auto counted = handles.find(idOf(entry.id));
    ProcessFigures figures;
    figures.processes = 1;
    figures.handles = counted != handles.end() ? counted->second : 0;
    figures.threads = entry.threads;
    figures.privateKiB = kibibytes(entry.privateSize);
    figures.workingSetKiB = kibibytes(entry.workingSet);
    return {
        idOf(entry.id), idOf(entry.parent), std::wstring(entry.program.text, entry.program.size / sizeof(wchar_t)),
        figures};
}

} // namespace

ProcessFigures& ProcessFigures::operator+=(const ProcessFigures& other) {
    processes += other.processes;
    handles += other.handles;
    threads += other.threads;
    privateKiB += other.privateKiB;
    workingSetKiB += other.workingSetKiB;
    return *this;
}

std::vector<Process> runningProcesses() {
    const auto table = readTable(kProcessTable);
    const auto handles = countHandles();
    std::vector<Process> processes;
    const auto* position = reinterpret_cast<const BYTE*>(table.data());
    for (;;) {
        const auto& entry = *reinterpret_cast<const ProcessEntry*>(position);
        processes.push_back(processOf(entry, handles));
        if (entry.offsetOfNext == 0)
            return processes;
        position += entry.offsetOfNext;
    }
}

} // namespace zorvan::devkit
