#include "port_process.h"

#include "windows_error.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zorvan::engine {
namespace {

std::filesystem::path hostProgram() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<const wchar_t*>(&hostProgram), &module))
        devkit::throwLastError("GetModuleHandleEx");
    std::wstring path(MAX_PATH, L'\0');
    path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).replace_filename(L"zorvan_host.exe");
}

UniqueHandle inheritableHandleOfThisProcess() {
    HANDLE handle = nullptr;
    if (!DuplicateHandle(
            GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &handle, SYNCHRONIZE, TRUE, 0))
        devkit::throwLastError("DuplicateHandle");
    return UniqueHandle(handle);
}

// A start-up attribute list that lets one handle, and no other, be inherited.
class InheritOnly {
public:
    explicit InheritOnly(HANDLE handle) : handle_(handle) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        if (!InitializeProcThreadAttributeList(get(), 1, 0, &size))
            devkit::throwLastError("InitializeProcThreadAttributeList");
        if (!UpdateProcThreadAttribute(
                get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_, sizeof handle_, nullptr, nullptr))
            devkit::throwLastError("UpdateProcThreadAttribute");
    }
    ~InheritOnly() { DeleteProcThreadAttributeList(get()); }
    InheritOnly(const InheritOnly&) = delete;
    InheritOnly& operator=(const InheritOnly&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data()); }

private:
    HANDLE handle_;
    std::vector<std::byte> storage_;
};

PROCESS_INFORMATION startHost() {
    const auto program = hostProgram();
    const auto parent = inheritableHandleOfThisProcess();
    InheritOnly inherited(parent.get());
    auto commandLine =
        L"\"" + program.wstring() + L"\" " + std::to_wstring(reinterpret_cast<std::uintptr_t>(parent.get()));

    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.lpAttributeList = inherited.get();
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(
            program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
            DETACHED_PROCESS | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &startup.StartupInfo, &information))
        devkit::throwLastError("CreateProcess of zorvan_host.exe");
    return information;
}

} // namespace

PortProcess::PortProcess() {
    const auto information = startHost();
    UniqueHandle(information.hThread).reset();
    process_.reset(information.hProcess);
    id_ = information.dwProcessId;
}

PortProcess::~PortProcess() {
    TerminateProcess(process_.get(), 0); // it may have been ended by somebody else
}

bool PortProcess::running() const {
    return WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT;
}

UniqueHandle PortProcess::copyHandle(std::uint64_t value) const {
    return value != 0 ? duplicateHere(value, DUPLICATE_SAME_ACCESS) : UniqueHandle();
}

// Wine closes a handle of another process only on its way to somebody.
void PortProcess::closeHandle(std::uint64_t value) const {
    duplicateHere(value, DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE);
}

UniqueHandle PortProcess::duplicateHere(std::uint64_t value, DWORD options) const {
    HANDLE copy = nullptr;
    if (!DuplicateHandle(
            process_.get(), reinterpret_cast<HANDLE>(value), GetCurrentProcess(), &copy, 0, FALSE, options))
        return {}; // no such handle, or the host process has ended and closed it
    return UniqueHandle(copy);
}

HostHandle::HostHandle(std::shared_ptr<const PortProcess> host, std::uint64_t value)
    : host_(std::move(host)), value_(value), copy_(host_->copyHandle(value)) {}

HostHandle::HostHandle(HostHandle&& other) noexcept
    : host_(std::move(other.host_)), value_(other.value_), copy_(std::move(other.copy_)) {}

// What this handle was ends with the other one.
HostHandle& HostHandle::operator=(HostHandle&& other) noexcept {
    std::swap(host_, other.host_);
    std::swap(value_, other.value_);
    std::swap(copy_, other.copy_);
    return *this;
}

HostHandle::~HostHandle() {
    if (host_)
        host_->closeHandle(value_);
}

} // namespace zorvan::engine
