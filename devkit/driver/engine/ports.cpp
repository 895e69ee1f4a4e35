#include "ports.h"

#include <algorithm>

namespace zorvan::driver {
void Ports::add(Port& port) {
    ports_.push_back(&port);
    port.start();
}

void Ports::remove(const Port& port) {
    std::erase(ports_, &port);
}

Port* Ports::find(const std::wstring& name) const {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&](const Port* port) { return sameName(port->name(), name); });
    return found != ports_.end() ? *found : nullptr;
}

} // namespace zorvan::driver
