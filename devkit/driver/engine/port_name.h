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

    const std::wstring& portName() const { return portName_; }

private:
    std::wstring portName_;
    std::wstring deviceName_;
};

// The device that a DOS device name leads to; empty: there is no such name.
std::wstring dosNameTarget(const std::wstring& portName);

void removeDosName(const std::wstring& portName);

} // namespace zorvan::driver
