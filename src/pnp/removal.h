// Removing the device node of a port.
#pragma once

#include <windows.h>

#include <string>

namespace zorvan::pnp {

// Removes the node of the device that has this control interface. S_FALSE: removed, but the system asks for a
// restart. The class installer returns the port number to the database. Throws the error of the step that failed.
HRESULT removeDeviceNode(const std::wstring& controlPath);

} // namespace zorvan::pnp
