// Creating a device node for a new port.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace zorvan::pnp {

// A restart is needed before the device works.
inline constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);

// Creates and installs a device node and returns its device instance ID. With number 0 the Ports class installer
// chooses the port number. Throws kRestartNeeded, E_FAIL when the port database does not open, or the error of the
// step that failed. No ID when that left no error: oddity 1 of docs/architecture.md.
std::wstring createDeviceNode(std::uint32_t portNumber);

} // namespace zorvan::pnp
