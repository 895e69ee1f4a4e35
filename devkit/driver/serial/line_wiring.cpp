#include "line_wiring.h"

namespace zorvan::engine {
namespace {

bool isAllowed(std::size_t source, std::uint16_t targets) {
    const unsigned allowed = protocol::kAllowedTargets[source % protocol::kPinCount];
    return (targets & ~(allowed | allowed << 8)) == 0;
}

std::uint16_t swapped(std::uint16_t targets) {
    return static_cast<std::uint16_t>(targets << 8 | targets >> 8);
}

bool isHigh(PinLevels levels, std::size_t source) {
    const auto pin = source % protocol::kPinCount;
    const Pins side = source < protocol::kPinCount ? levels.local : levels.remote;
    return (side >> pin & 1) != 0;
}

PinLevels driveOnce(const PinConnections& connections, PinLevels levels) {
    unsigned targets = 0;
    for (std::size_t source = 0; source < connections.size(); ++source)
        if (isHigh(levels, source))
            targets |= connections[source];
    return {static_cast<Pins>(targets), static_cast<Pins>(targets >> 8)};
}

PinLevels either(PinLevels a, PinLevels b) {
    return {static_cast<Pins>(a.local | b.local), static_cast<Pins>(a.remote | b.remote)};
}

} // namespace

bool isWiring(const PinConnections& connections) {
    for (std::size_t source = 0; source < connections.size(); ++source)
        if (!isAllowed(source, connections[source]))
            return false;
    return true;
}

PinConnections mirrored(const PinConnections& connections) {
    PinConnections result{};
    for (std::size_t source = 0; source < connections.size(); ++source)
        result[(source + protocol::kPinCount) % connections.size()] = swapped(connections[source]);
    return result;
}

// Levels only rise on the way, so that this ends; and it starts from the outputs alone, so that a loop of wires does
// not hold itself high.
PinLevels drivenPins(const PinConnections& connections, PinLevels outputs) {
    PinLevels driven{0, 0};
    for (;;) {
        const auto next = driveOnce(connections, either(outputs, driven));
        if (next == driven)
            return driven;
        driven = next;
    }
}

} // namespace zorvan::engine
