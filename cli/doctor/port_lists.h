// The three ways by which programs find serial ports, and whether the driver package is there.
#pragma once

#include <windows.h>

#include <set>
#include <string>

namespace portwright::doctor {

// The names that each way yields. Throw Failure.
std::set<std::string> serialCommNames();     // the registry's map of serial ports
std::set<std::string> portsClassNames();     // the present devices of the setup class Ports
std::set<std::string> interfaceClassNames(); // the devices with the interface of serial ports

// Opens and closes the port. ERROR_SUCCESS, or why it cannot be opened.
DWORD tryToOpen(const std::string& name);

// Whether the system has a driver for the hardware ID of the ports.
bool hasDriverPackage();

} // namespace portwright::doctor
