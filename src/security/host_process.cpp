#include "security/host_process.h"

#include "base/hresult_error.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace zorvan {

namespace {

constexpr std::size_t kNameBufferSize = 720; // the record of a name, in bytes

HANDLE asHandle(std::uint64_t value) {
    return reinterpret_cast<HANDLE>(value);
}

UniqueHandle openForDuplication(DWORD processId) {
    return UniqueHandle(OpenProcess(PROCESS_DUP_HANDLE, FALSE, processId));
}

// Oddity 32 of docs/architecture.md.
UniqueHandle openWithDebugPrivilege(DWORD processId) {
    UniqueHandle token;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.put()) == FALSE)
        return {};
    TOKEN_PRIVILEGES wanted{1, {{{}, SE_PRIVILEGE_ENABLED}}};
    TOKEN_PRIVILEGES previous{};
    DWORD previousSize = 0;
    // Success does not tell whether the token has the privilege: the second attempt does.
    if (LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &wanted.Privileges[0].Luid) != FALSE &&
        AdjustTokenPrivileges(token.get(), FALSE, &wanted, sizeof previous, &previous, &previousSize) == FALSE)
        return {};
    return openForDuplication(processId);
}

// Looked up at run time, so that a system without it fails a request for a name rather than the library's loading.
auto fileInformationFunction() {
    auto* const kernel = GetModuleHandleW(L"KERNEL32");
    auto* const address = kernel != nullptr ? GetProcAddress(kernel, "GetFileInformationByHandleEx") : nullptr;
    if (address == nullptr)
        throwLastError();
    return reinterpret_cast<decltype(&GetFileInformationByHandleEx)>(reinterpret_cast<void*>(address));
}

std::wstring fileName(HANDLE file) {
    auto* const getInformation = fileInformationFunction();
    alignas(FILE_NAME_INFO) std::array<std::uint8_t, kNameBufferSize> buffer{};
    if (getInformation(file, FileNameInfo, buffer.data(), kNameBufferSize) == FALSE)
        throwLastError();
    constexpr auto kNameOffset = offsetof(FILE_NAME_INFO, FileName);
    const auto length = reinterpret_cast<const FILE_NAME_INFO*>(buffer.data())->FileNameLength;
    const auto* const name = reinterpret_cast<const wchar_t*>(buffer.data() + kNameOffset);
    return {name, std::min<std::size_t>(length, kNameBufferSize - kNameOffset) / sizeof(wchar_t)};
}

} // namespace

UniqueHandle openHostProcess(DWORD processId) noexcept {
    auto process = openForDuplication(processId);
    if (process || GetLastError() != ERROR_ACCESS_DENIED)
        return process;
    return openWithDebugPrivilege(processId);
}

void closeHostHandle(HostHandle handle) {
    const auto process = openHostProcess(handle.processId);
    if (!process)
        return; // it has ended, and its handles with it
    // A handle of another process is closed by moving it here.
    UniqueHandle moved;
    DuplicateHandle(
        process.get(), asHandle(handle.value), GetCurrentProcess(), moved.put(), 0, FALSE,
        DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE);
}

UniqueHostHandle duplicateIntoHost(DWORD processId, HANDLE localHandle) {
    const auto process = openHostProcess(processId);
    if (!process)
        return {};
    HANDLE hostHandle = nullptr;
    if (DuplicateHandle(
            GetCurrentProcess(), localHandle, process.get(), &hostHandle, 0, FALSE, DUPLICATE_SAME_ACCESS) == FALSE)
        return {};
    return UniqueHostHandle({processId, reinterpret_cast<std::uintptr_t>(hostHandle)});
}

std::wstring getHostHandleName(DWORD processId, std::uint64_t hostHandle) {
    const auto process = openHostProcess(processId);
    if (!process)
        throwLastError();
    UniqueHandle file;
    if (DuplicateHandle(
            process.get(), asHandle(hostHandle), GetCurrentProcess(), file.put(), FILE_READ_ATTRIBUTES, FALSE, 0) ==
        FALSE)
        throwLastError();
    return fileName(file.get());
}

} // namespace zorvan
