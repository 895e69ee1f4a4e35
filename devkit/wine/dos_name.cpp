#include "dos_name.h"

#include "base/unique.h"

// Declared by the driver kit only, whose headers cannot stand beside <windows.h>.
extern "C" {
NTSTATUS NTAPI NtCreateSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, UNICODE_STRING*);
NTSTATUS NTAPI NtOpenSymbolicLinkObject(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*);
NTSTATUS NTAPI NtMakeTemporaryObject(HANDLE);
}

namespace zorvan::devkit {

namespace {

UNICODE_STRING unicodeString(const std::wstring& text) {
    const auto size = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    return {size, size, const_cast<wchar_t*>(text.data())}; // the system does not write through it
}

} // namespace

DosName::DosName(const std::wstring& name) : path_(L"\\DosDevices\\" + name), unicode_(unicodeString(path_)) {
    InitializeObjectAttributes(&attributes_, &unicode_, OBJ_CASE_INSENSITIVE | OBJ_PERMANENT, nullptr, nullptr);
}

NTSTATUS DosName::pointTo(const std::wstring& device) {
    auto target = unicodeString(device);
    UniqueHandle link;
    return NtCreateSymbolicLinkObject(link.put(), STANDARD_RIGHTS_ALL, &attributes_, &target);
}

// The name goes with the last handle.
NTSTATUS DosName::remove() {
    UniqueHandle link;
    const NTSTATUS status = NtOpenSymbolicLinkObject(link.put(), DELETE, &attributes_);
    return status < 0 ? status : NtMakeTemporaryObject(link.get());
}

} // namespace zorvan::devkit
