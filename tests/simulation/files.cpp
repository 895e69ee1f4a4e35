#include "simulation/files.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <cstddef>
#include <cstring>

namespace zorvan::simulation {

namespace {

constexpr std::wstring_view kPipes = L"\\\\.\\pipe";
constexpr std::wstring_view kDrive = L"C:";

bool isPipe(const std::wstring& path) {
    return path.rfind(kPipes, 0) == 0;
}

} // namespace

std::string File::description() const {
    return "file " + describe(path);
}

std::wstring File::name() const {
    return path.substr(isPipe(path) ? kPipes.size() : kDrive.size());
}

DWORD Files::create(const std::wstring& path, DWORD disposition) {
    if (path.empty())
        return ERROR_PATH_NOT_FOUND;
    const bool exists = existing.count(path) != 0;
    switch (disposition) {
    case CREATE_NEW:
        if (exists)
            return ERROR_FILE_EXISTS;
        break;
    case OPEN_EXISTING:
    case TRUNCATE_EXISTING:
        if (!exists)
            return ERROR_FILE_NOT_FOUND;
        break;
    case CREATE_ALWAYS:
    case OPEN_ALWAYS:
        break;
    default:
        return ERROR_INVALID_PARAMETER;
    }
    existing.insert(path);
    return ERROR_SUCCESS;
}

namespace {

HANDLE WINAPI createNamedPipe(
    LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outputSize, DWORD inputSize, DWORD timeout,
    LPSECURITY_ATTRIBUTES attributes) {
    Call call(
        "CreateNamedPipeW", name, Hex{openMode}, pipeMode, instances, outputSize, inputSize, timeout,
        attributes == nullptr ? "no attributes" : "attributes");
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    if (!isPipe(name)) {
        SetLastError(ERROR_INVALID_NAME);
        return INVALID_HANDLE_VALUE;
    }
    call->files.existing.insert(name);
    return call.open(std::make_shared<File>(name));
}
SIMULATE(CreateNamedPipeW, createNamedPipe);

BOOL WINAPI getFileInformation(HANDLE handle, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size) {
    Call call("GetFileInformationByHandleEx", handle, static_cast<DWORD>(kind), size);
    const auto file = call.object<File>(handle);
    if (file == nullptr || call.fails())
        return FALSE;
    if (kind != FileNameInfo)
        return Call::failed(ERROR_INVALID_PARAMETER);
    const auto name = file->name();
    const auto length = static_cast<DWORD>(call.bring(name.size()) * sizeof(wchar_t));
    constexpr DWORD kHeader = offsetof(FILE_NAME_INFO, FileName);
    if (size < kHeader + length)
        return Call::failed(ERROR_MORE_DATA);
    std::memcpy(buffer, &length, sizeof length);
    std::memcpy(static_cast<std::uint8_t*>(buffer) + kHeader, name.data(), length);
    return TRUE;
}
SIMULATE(GetFileInformationByHandleEx, getFileInformation);

} // namespace

} // namespace zorvan::simulation
