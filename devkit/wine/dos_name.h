// A name in the system's directory of DOS devices: what programs open a port by.
#pragma once

#include <windows.h>

#include <winternl.h>

#include <string>

namespace zorvan::devkit {

class DosName {
public:
    explicit DosName(const std::wstring& name);
    DosName(const DosName&) = delete;
    DosName& operator=(const DosName&) = delete;
    ~DosName() = default;

    // Both return the system's status. The device is named as the kernel names it.
    NTSTATUS pointTo(const std::wstring& device);
    NTSTATUS remove();

private:
    std::wstring path_;
    UNICODE_STRING unicode_;
    OBJECT_ATTRIBUTES attributes_{};
};

} // namespace zorvan::devkit
