#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <cstddef>
#include <cstring>

namespace zorvan::simulation {

void Files::create(const std::wstring& path, DWORD disposition) {
    failIf(path.empty(), ERROR_PATH_NOT_FOUND);
    failIf(disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING, ERROR_INVALID_PARAMETER);
    const bool exists = existing.contains(path);
    failIf(disposition == CREATE_NEW && exists, ERROR_FILE_EXISTS);
    failIf((disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING) && !exists, ERROR_FILE_NOT_FOUND);
    existing.insert(path);
}

namespace {

constexpr std::wstring_view kPipes = L"\\\\.\\pipe";
constexpr std::wstring_view kDrive = L"C:";

SIMULATE(
    OrInvalid<HANDLE>, CreateNamedPipeW, LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD instances,
    DWORD outputSize, DWORD inputSize, DWORD timeout, LPSECURITY_ATTRIBUTES attributes) {
    failIf(!std::wstring_view(name).starts_with(kPipes), ERROR_INVALID_NAME);
    call->files.existing.insert(name);
    return call.open(std::make_shared<File>(name));
}

SIMULATE(
    BOOL, GetFileInformationByHandleEx, HANDLE handle, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size) {
    const auto& path = call.object<File>(handle)->path;
    failIf(kind != FileNameInfo, ERROR_INVALID_PARAMETER);
    // Without the drive, or the namespace of pipes.
    const auto name = path.substr(path.starts_with(kPipes) ? kPipes.size() : kDrive.size());
    const auto length = static_cast<DWORD>(call.bring(name.size()) * sizeof(wchar_t));
    constexpr DWORD kHeader = offsetof(FILE_NAME_INFO, FileName);
    failIf(size < kHeader + length, ERROR_MORE_DATA);
    std::memcpy(buffer, &length, sizeof length);
    std::memcpy(static_cast<std::uint8_t*>(buffer) + kHeader, name.data(), length);
}

} // namespace

} // namespace zorvan::simulation
