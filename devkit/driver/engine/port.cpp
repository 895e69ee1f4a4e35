#include "port.h"

#include <utility>

namespace zorvan::driver {

Port::Port(std::wstring name, std::wstring deviceName)
    : name_(std::move(name)), deviceName_(std::move(deviceName)), host_(std::in_place) {}

void Port::start() {
    if (isPortName(name_) && !isTaken(name_, deviceName_))
        publish();
    else
        name_.clear();
}

void Port::stop() {
    releasePartner();
    connection_.emplace<Listening>();
    events_.clear();
    publishedName_.reset();
    host_.reset();
}

Status Port::rename(const std::wstring& name) {
    if (!isPortName(name))
        return Status::InvalidParameter;
    if (isTaken(name, deviceName_))
        return Status::ObjectNameCollision;
    name_ = name;
    publish();
    events_.signal();
    return Status::Success;
}

Status Port::setEnabled(bool enabled) {
    if (enabled && isTaken(name_, deviceName_))
        return Status::ObjectNameCollision;
    enabled_ = enabled;
    publish();
    return Status::Success;
}

std::uint32_t Port::mode() const {
    return host_->running() ? static_cast<std::uint32_t>(connection_.index()) + 1 : kModeBroken;
}

void Port::connect(Connection next) {
    releasePartner();
    connection_ = std::move(next);
    events_.signal();
}

void Port::bridgeTo(Port& partner, std::wstring server, bool permanent) {
    connect(Bridge{&partner, std::move(server), permanent});
    partner.connect(Bridge{this, L".", permanent});
}

void Port::listen() {
    if (connectionAs<Listening>())
        return;
    releasePartner();
    beListening();
}

Status Port::openSerial() {
    if (serial_ || !enabled_)
        return Status::AccessDenied;
    serial_.emplace();
    return Status::Success;
}

void Port::publish() {
    publishedName_.reset();
    if (enabled_ && !name_.empty())
        publishedName_.emplace(name_, deviceName_);
}

void Port::beListening() {
    connection_.emplace<Listening>();
    events_.signal();
}

void Port::releasePartner() const {
    if (const auto* bridge = connectionAs<Bridge>())
        bridge->partner->beListening();
}

} // namespace zorvan::driver
