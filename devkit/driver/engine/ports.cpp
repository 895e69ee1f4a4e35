#include "ports.h"

#include "engine_api.h"

#include <algorithm>

namespace zorvan::driver {
namespace {

constexpr std::size_t kMaximumNameLength = 255;

bool isPortName(const std::wstring& name) {
    return !name.empty() && name.size() <= kMaximumNameLength &&
           std::none_of(name.begin(), name.end(), [](wchar_t unit) { return unit < L' ' || unit == L'\\'; });
}

bool isOurs(const std::wstring& deviceName) {
    return deviceName.starts_with(kSerialDevicePrefix);
}

} // namespace

void Ports::add(Port& port) {
    ports_.push_back(&port);
    // A port whose name is taken or missing runs without one; its control requests can give it another.
    if (isPortName(port.name) && !isTaken(port.name, port))
        port.publish();
}

void Ports::remove(const Port& port) {
    std::erase(ports_, &port);
}

Port* Ports::find(const std::wstring& name) const {
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&](const Port* port) { return port->isPublishedAs(name); });
    return found != ports_.end() ? *found : nullptr;
}

Status Ports::rename(Port& port, const std::wstring& name) const {
    if (!isPortName(name))
        return Status::InvalidParameter;
    if (isTaken(name, port))
        return Status::ObjectNameCollision;
    port.name = name;
    if (port.enabled)
        port.publish();
    return Status::Success;
}

Status Ports::setEnabled(Port& port, bool enabled) const {
    if (enabled && isTaken(port.name, port))
        return Status::ObjectNameCollision;
    port.enabled = enabled;
    if (enabled)
        port.publish();
    else
        port.unpublish();
    return Status::Success;
}

// A name that still leads to a device which a driver process left behind when it died is free.
bool Ports::isTaken(const std::wstring& name, const Port& by) const {
    const auto target = dosNameTarget(name);
    if (target.empty() || target == by.deviceName())
        return false;
    if (!isOurs(target) || isRunning(target))
        return true;
    removeDosName(name);
    return false;
}

bool Ports::isRunning(const std::wstring& deviceName) const {
    return std::any_of(
        ports_.begin(), ports_.end(), [&](const Port* port) { return port->deviceName() == deviceName; });
}

} // namespace zorvan::driver
