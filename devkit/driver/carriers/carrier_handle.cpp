#include "carrier_handle.h"

#include <array>
#include <string_view>
#include <winternl.h>

namespace zorvan::engine {
namespace {

constexpr auto kObjectNameInformation = static_cast<OBJECT_INFORMATION_CLASS>(1);
constexpr auto kFileModeInformation = static_cast<FILE_INFORMATION_CLASS>(16);
constexpr ULONG kSynchronous = 0x30; // FILE_SYNCHRONOUS_IO_ALERT, FILE_SYNCHRONOUS_IO_NONALERT

bool isOverlapped(HANDLE handle) {
    IO_STATUS_BLOCK status{};
    ULONG mode = 0;
    return NtQueryInformationFile(handle, &status, &mode, sizeof mode, kFileModeInformation) >= 0 &&
           (mode & kSynchronous) == 0;
}

bool hasNameBelow(HANDLE handle, std::wstring_view folder) {
    struct {
        UNICODE_STRING name;
        std::array<wchar_t, 0x8000> text;
    } object{};
    if (NtQueryObject(handle, kObjectNameInformation, &object, sizeof object, nullptr) < 0)
        return false;
    return std::wstring_view(object.name.Buffer, object.name.Length / sizeof(wchar_t)).starts_with(folder);
}

} // namespace

bool isPipe(HANDLE handle) {
    return isOverlapped(handle) && hasNameBelow(handle, L"\\Device\\NamedPipe\\");
}

// Files of the host system, and its devices too: NUL, a serial port of the machine.
bool isFile(HANDLE handle) {
    return isOverlapped(handle) && hasNameBelow(handle, L"\\??\\");
}

} // namespace zorvan::engine
