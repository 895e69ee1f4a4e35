// Stands in for DefineDosDeviceW. Wine 8's puts the name into a buffer that is made for drive letters, and the size
// of a structure over the end of it: to remove COM18 removes COM10.
#include "kernelbase_stand_in.h"

#include "dos_name.h"

#include <new>
#include <string>

namespace zorvan::devkit {

namespace {

// The target as the kernel names it; empty for one that cannot be.
std::wstring kernelName(const wchar_t* target, bool raw) {
    if (raw)
        return target;
    UNICODE_STRING converted{};
    if (!RtlDosPathNameToNtPathName_U(target, &converted, nullptr, nullptr))
        return {};
    std::wstring name(converted.Buffer, converted.Length / sizeof(wchar_t));
    RtlFreeUnicodeString(&converted);
    return name;
}

DWORD define(DWORD flags, const wchar_t* name, const wchar_t* target) {
    DosName dosName(name);
    if ((flags & DDD_REMOVE_DEFINITION) != 0)
        return RtlNtStatusToDosError(dosName.remove());
    const auto device = kernelName(target, (flags & DDD_RAW_TARGET_PATH) != 0);
    return device.empty() ? ERROR_PATH_NOT_FOUND : RtlNtStatusToDosError(dosName.pointTo(device));
}

} // namespace

void* systemDefineDosDevice() {
    // Not kernel32's, which is a jump to this one and shorter than the one that is written over it.
    return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "DefineDosDeviceW"));
}

BOOL WINAPI defineDosDevice(DWORD flags, PCWSTR name, PCWSTR target) {
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    try {
        error = define(flags, name, target);
    } catch (const std::bad_alloc&) { // which is the error already
    }
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace zorvan::devkit
