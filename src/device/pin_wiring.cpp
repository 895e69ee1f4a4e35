#include "device/pin_wiring.h"

#include <cstddef>

namespace zorvan {

bool mayDrive(PinSignal source, PinSignal target) {
    return (protocol::kAllowedTargets[static_cast<std::size_t>(source)] >> static_cast<unsigned>(target) & 1) != 0;
}

void PinWiring::set(Pin source, Pin target, bool connected) {
    auto& entry = entries_[static_cast<std::size_t>(source.signal) + (source.remote ? protocol::kPinCount : 0)];
    const auto bit = 1U << (static_cast<unsigned>(target.signal) + (target.remote ? protocol::kRemoteTargets : 0));
    entry = static_cast<std::uint16_t>(connected ? entry | bit : entry & ~bit);
}

} // namespace zorvan
