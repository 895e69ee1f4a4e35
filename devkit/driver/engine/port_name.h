// A port's name as other programs see it: the DOS device name that opens it and its entry in the serial port map.
#pragma once

#include <string>

namespace zorvan::driver {

// Published from construction to destruction.
class PublishedPortName {
public:
    // Throws std::system_error when the name cannot be published.
    PublishedPortName(std::wstring portName, std::wstring deviceName);
    ~PublishedPortName();
    PublishedPortName(const PublishedPortName&) = delete;
    PublishedPortName& operator=(const PublishedPortName&) = delete;

private:
    std::wstring portName_;
    std::wstring deviceName_;
};

// Whether a text can be a port's name at all. It need not end in a number.
bool isPortName(const std::wstring& text);

// Whether the name opens another device than this one.
bool isTaken(const std::wstring& portName, const std::wstring& byDevice);

// Names compare without regard to case, as the system looks them up.
bool sameName(const std::wstring& left, const std::wstring& right);

} // namespace zorvan::driver
