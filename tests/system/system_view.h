// What the system itself says about the ports, asked past the library.
#pragma once

#include <map>
#include <set>
#include <string>

namespace zorvan::test {

// The present serial ports by `PortName`, with their friendly names.
std::map<std::wstring, std::wstring> presentSerialPorts();

// The port names of the map that programs read which list serial ports.
std::set<std::wstring> serialPortMap();

bool isDosName(const std::wstring& name);

// Whether the port database holds the number for somebody.
bool isReserved(unsigned number);

} // namespace zorvan::test
