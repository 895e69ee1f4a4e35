// A port's name as other programs see it: the DOS device name that opens it and its entry in the serial port map.
#pragma once

#include "base/unique.h"

#include <winternl.h>

#include <string>

namespace zorvan::driver {

// A name in the system's directory of DOS devices. DefineDosDevice is not used: Wine's copies the name into a buffer
// that is made for drive letters.
class DosName {
public:
    explicit DosName(const std::wstring& name);
    DosName(const DosName&) = delete;
    DosName& operator=(const DosName&) = delete;
    ~DosName() = default;

    // Throws std::system_error when that fails.
    void leadTo(const std::wstring& device);
    void remove() noexcept;

    // Whether it leads to another device than this one.
    bool isTaken(const std::wstring& byDevice) const noexcept;

private:
    std::wstring path_;
    UNICODE_STRING unicode_;
    OBJECT_ATTRIBUTES attributes_{};
};

// Published from construction to destruction.
class PublishedPortName {
public:
    // Throws std::system_error when the name cannot be published.
    PublishedPortName(const std::wstring& portName, std::wstring deviceName);
    ~PublishedPortName();
    PublishedPortName(const PublishedPortName&) = delete;
    PublishedPortName& operator=(const PublishedPortName&) = delete;

private:
    DosName dosName_;
    std::wstring deviceName_;
};

// Removes the names of devices that begin with the prefix and do not run any more.
void removeStaleNames(const std::wstring& devicePrefix);

// Whether a text can be a port's name at all. It need not end in a number.
bool isPortName(const std::wstring& text);

// Whether the name opens another device than this one.
bool isTaken(const std::wstring& portName, const std::wstring& byDevice);

// Names compare without regard to case, as the system looks them up.
bool sameName(const std::wstring& left, const std::wstring& right);

} // namespace zorvan::driver
