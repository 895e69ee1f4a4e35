// Which pins of the two ends of a bridge drive which, and the levels that come of it.
#pragma once

#include "driver/protocol.h"

#include <cstdint>

namespace zorvan::engine {

// In the order of protocol.h: source i is local pin i, source 6 + i remote pin i.
using protocol::PinConnections;

// A set of pins of one end: bit t is pin t.
using Pins = std::uint8_t;

inline constexpr Pins kDtr = 1 << 0;
inline constexpr Pins kDsr = 1 << 1;
inline constexpr Pins kDcd = 1 << 2;
inline constexpr Pins kRts = 1 << 3;
inline constexpr Pins kCts = 1 << 4;
inline constexpr Pins kRi = 1 << 5;

struct PinLevels {
    Pins local;
    Pins remote;

    friend bool operator==(const PinLevels&, const PinLevels&) = default;
};

// Whether every source drives only what it may: DTR and RTS drive DSR, DCD, CTS and RI; DSR, DCD and CTS drive DTR
// and RTS; RI drives RI alone.
bool isWiring(const PinConnections& connections);

// The same wires as the other end counts them.
PinConnections mirrored(const PinConnections& connections);

// The pins that are high by wire, when the given ones are high by themselves. Several sources of one pin are or-ed,
// and a pin that is high by wire drives on.
PinLevels drivenPins(const PinConnections& connections, PinLevels outputs);

} // namespace zorvan::engine
