#include "security/host_process.h"

#include "security/privileges.h"

namespace zorvan {

namespace {

UniqueHandle openForDuplication(DWORD processId) {
    return UniqueHandle(OpenProcess(PROCESS_DUP_HANDLE, FALSE, processId));
}

// The privilege stays enabled on purpose: what it is needed for recurs with every handle that is handed over.
bool enableDebugPrivilege() {
    UniqueHandle token;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.put()) == FALSE)
        return false;
    PrivilegeSet privileges;
    LUID debug{};
    if (LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &debug) != FALSE)
        privileges.add(debug, SE_PRIVILEGE_ENABLED);
    return enablePrivileges(token.get(), privileges);
}

} // namespace

UniqueHandle openHostProcess(DWORD processId) {
    auto process = openForDuplication(processId);
    if (process || GetLastError() != ERROR_ACCESS_DENIED)
        return process;
    return enableDebugPrivilege() ? openForDuplication(processId) : UniqueHandle();
}

std::uint64_t duplicateIntoHost(DWORD processId, HANDLE localHandle) {
    const auto process = openHostProcess(processId);
    if (!process)
        return 0;
    HANDLE hostHandle = nullptr;
    const BOOL duplicated = DuplicateHandle(
        GetCurrentProcess(), localHandle, process.get(), &hostHandle, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return duplicated != FALSE ? reinterpret_cast<std::uintptr_t>(hostHandle) : 0;
}

} // namespace zorvan
