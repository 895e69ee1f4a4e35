// The modem control wiring of a bridge: which pin drives which.
#pragma once

#include "driver/protocol.h"

#include <cstdint>
#include <span>

namespace zorvan {

// In the order of the wire format.
enum class PinSignal : std::uint8_t { Dtr, Dsr, Dcd, Rts, Cts, Ri };

struct Pin {
    PinSignal signal;
    bool remote; // of the bridge partner's end
};

// Whether a pin may drive another one, on whichever ends they are.
bool mayDrive(PinSignal source, PinSignal target);

class PinWiring {
public:
    // Connects the pins or parts them.
    void set(Pin source, Pin target, bool connected);

    // One entry for each source: see protocol::kPinConnectionCount.
    std::span<const std::uint16_t> entries() const { return entries_; }

private:
    protocol::PinConnections entries_ = protocol::kNullModem;
};

} // namespace zorvan
