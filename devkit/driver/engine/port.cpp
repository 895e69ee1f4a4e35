#include "port.h"

#include <utility>

namespace zorvan::driver {

const Port::PinConnections Port::kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

Port::Port(std::wstring portName, std::wstring deviceName)
    : name(std::move(portName)), deviceName_(std::move(deviceName)), host_(std::in_place) {}

Port::~Port() {
    stop();
}

void Port::stop() {
    releasePartner();
    connection_ = Listening{};
    unpublish();
    host_.reset();
}

bool Port::isPublishedAs(const std::wstring& otherName) const {
    return publishedName_ && CompareStringOrdinal(
                                 publishedName_->portName().c_str(), -1, otherName.c_str(), -1, TRUE) == CSTR_EQUAL;
}

std::uint32_t Port::mode() const {
    return host_->running() ? static_cast<std::uint32_t>(connection_.index()) + 1 : kModeBroken;
}

void Port::connect(Connection next) {
    releasePartner();
    become(std::move(next));
}

void Port::bridgeTo(Port& partner, std::wstring server, bool permanent) {
    connect(Bridge{&partner, std::move(server), permanent});
    partner.connect(Bridge{this, L".", permanent});
}

void Port::listen() {
    if (!connectionAs<Listening>())
        connect(Listening{});
}

void Port::publish() {
    publishedName_.reset();
    publishedName_.emplace(name, deviceName_);
}

void Port::become(Connection next) {
    connection_ = std::move(next);
    events.signal();
}

void Port::releasePartner() {
    if (const auto* bridge = connectionAs<Bridge>())
        bridge->partner->become(Listening{});
}

} // namespace zorvan::driver
