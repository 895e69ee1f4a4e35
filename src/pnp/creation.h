// Creating a device node for a new port.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace zorvan::pnp {

// A restart is needed before the device works. createDevice also returns it when a device never appeared.
inline constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);

// Creates and installs a device node and returns its device instance ID. With number 0 the Ports class installer
// chooses the port number. A node whose installation fails stays registered. Throws kRestartNeeded, E_FAIL when the
// port database does not open, or the error of the step that failed. A step that fails without leaving an error
// counts as a success without an ID: whoever waits for the device then waits in vain. Intended.
std::wstring createDeviceNode(std::uint32_t portNumber);

} // namespace zorvan::pnp
