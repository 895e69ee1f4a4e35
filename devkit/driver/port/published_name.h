// A port's name as other programs see it: the DOS device name that opens it and its entry in the serial port map.
#pragma once

#include "requests/status.h"
#include "wine/dos_name.h"

#include <string>

namespace zorvan::engine {

// Published from construction to destruction.
class PublishedPortName {
public:
    // Throws std::system_error when the name cannot be published.
    PublishedPortName(const std::wstring& portName, std::wstring deviceName);
    ~PublishedPortName();
    PublishedPortName(const PublishedPortName&) = delete;
    PublishedPortName& operator=(const PublishedPortName&) = delete;

private:
    devkit::DosName dosName_;
    std::wstring portName_;
    std::wstring deviceName_;
};

// Removes the names of devices that begin with the prefix and do not run any more.
void removeStaleNames(const std::wstring& devicePrefix);

// Whether a text can be the name of this device: programs must be able to open it, and it may open no other device.
// It need not end in a number.
Status nameStatus(const std::wstring& text, const std::wstring& ofDevice);

// Whether the name opens another device than this one.
bool isTaken(const std::wstring& portName, const std::wstring& byDevice) noexcept;

// Names compare without regard to case, as the system looks them up.
bool sameName(const std::wstring& left, const std::wstring& right);

} // namespace zorvan::engine
