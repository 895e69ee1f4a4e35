#include "ports.h"

#include <algorithm>

namespace zorvan::engine {

// The port that was there first restores a bridge, so that its wiring is the common one.
void Ports::add(Port& port) {
    const auto others = ports_;
    ports_.push_back(&port);
    port.start();
    for (auto* const other : others)
        other->rejoin(port);
}

void Ports::remove(const Port& port) {
    std::erase(ports_, &port);
}

Port* Ports::find(const std::wstring& name) const {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&](const Port* port) { return sameName(port->name(), name); });
    return found != ports_.end() ? *found : nullptr;
}

} // namespace zorvan::engine
