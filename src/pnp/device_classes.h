// The setup class and the device interface classes of the ports.
#pragma once

#include "base/guid.h"

namespace zorvan::pnp {

// Setup class Ports.
inline constexpr GUID kPortsClass = parseGuid("{4D36E978-E325-11CE-BFC1-08002BE10318}");

// Registered by the driver for each of its devices; its path is what control requests go to.
inline constexpr GUID kControlInterface = parseGuid("{24E7F5CF-EF4A-4BD2-87F4-722102E53963}");

// The system's class of every serial port, real or virtual.
inline constexpr GUID kSerialPortInterface = parseGuid("{86E0D1E0-8089-11D0-9CE4-08003E301F73}");

} // namespace zorvan::pnp
