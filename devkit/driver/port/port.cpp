#include "port.h"

#include <utility>

namespace zorvan::engine {

namespace {

constexpr wchar_t kPortName[] = L"PortName";
constexpr wchar_t kEnabled[] = L"Enabled";
constexpr wchar_t kCrossover[] = L"Crossover";
constexpr wchar_t kTransmitOverflow[] = L"TransmitOverflow";
constexpr wchar_t kSecurityDescriptor[] = L"ListeningSecurity";
constexpr wchar_t kDefaultSecurity[] = L"D:AR(A;;CC;;;WD)";

} // namespace

Port::Port(std::wstring deviceName, HKEY deviceKey)
    : key_(deviceKey), name_(key_.readText(kPortName).value_or(L"")), deviceName_(std::move(deviceName)),
      enabled_(key_.readRecord<std::uint8_t>(kEnabled).value_or(1) != 0),
      securityDescriptor_(key_.readText(kSecurityDescriptor).value_or(kDefaultSecurity)),
      host_(std::make_shared<PortProcess>()) {
    if (const auto crossover = key_.readRecord<protocol::ErrorEmulationState>(kCrossover))
        traffic_.setCrossover(*crossover);
    if (const auto overflow = key_.readRecord<protocol::ErrorEmulationLong>(kTransmitOverflow))
        traffic_.setTransmitOverflow(*overflow);
}

void Port::start() {
    if (nameStatus(name_, deviceName_) == Status::Success)
        publish();
    else
        name_.clear();
}

// A permanent bridge is left to the partner, which keeps it in mind.
void Port::stop() noexcept {
    traffic_.close(Status::NoSuchDevice);
    leave(nullptr);
    events_.clear();
    publishedName_.reset();
    host_.reset();
}

Status Port::rename(const std::wstring& name) {
    const auto status = nameStatus(name, deviceName_);
    if (status != Status::Success) {
        restoreName();
        return status;
    }
    name_ = name;
    publish();
    if (const auto* bridge = connectionAs<Bridge>(); bridge && bridge->permanent)
        bridge->partner->bridgeMemory_.remember({bridge->partner->rememberedServer(), name_});
    events_.signal();
    return Status::Success;
}

Status Port::setEnabled(bool enabled) {
    if (enabled && isTaken(name_, deviceName_))
        return Status::ObjectNameCollision;
    key_.writeRecord(kEnabled, std::uint8_t{enabled});
    enabled_ = enabled;
    publish();
    return Status::Success;
}

void Port::setCrossover(const protocol::ErrorEmulationState& crossover) {
    key_.writeRecord(kCrossover, crossover);
    traffic_.setCrossover(crossover);
}

void Port::setTransmitOverflow(const protocol::ErrorEmulationLong& overflow) {
    key_.writeRecord(kTransmitOverflow, overflow);
    traffic_.setTransmitOverflow(overflow);
}

std::uint32_t Port::mode() const {
    if (!host_->running())
        return kModeBroken;
    return connection_ ? kModeListening + 1 + static_cast<std::uint32_t>(connection_->mode.index()) : kModeListening;
}

void Port::listen() {
    leaveForGood();
    if (!listening())
        leave(nullptr);
}

void Port::listen(std::wstring securityDescriptor) {
    key_.writeText(kSecurityDescriptor, securityDescriptor);
    securityDescriptor_ = std::move(securityDescriptor);
    listen();
}

void Port::connectPipe(HostHandle pipe, bool serverEnd) {
    auto pump = makePump(serverEnd ? Pump::Kind::PipeServer : Pump::Kind::PipeClient, {pipe.copy(), pipe.copy()});
    auto connection = std::make_shared<Connection>(PipeConnection{std::move(pipe), pump});
    leaveForGood();
    leave(std::move(connection));
    traffic_.join(*pump);
    traffic_.setPresent(*pump, !serverEnd); // a server's pump tells when its first client comes
}

void Port::connectFiles(HostHandle output, HostHandle input) {
    auto pump = makePump(Pump::Kind::Files, {input.copy(), output.copy()});
    auto connection = std::make_shared<Connection>(FileConnection{std::move(output), std::move(input), pump});
    leaveForGood();
    leave(std::move(connection));
    traffic_.join(*pump);
    traffic_.setPresent(*pump, true);
}

void Port::bridgeTo(Port& partner, std::wstring server, bool permanent) {
    leaveForGood();
    partner.leaveForGood();
    join(partner, {std::move(server), partner.name_}, {L".", name_}, permanent);
}

void Port::rejoin(Port& other) {
    const auto agrees = [](const Port& port, const Port& partner) {
        return !port.bridgeMemory_.partner() || port.bridgeMemory_.names(partner.name_);
    };
    const bool remembered = bridgeMemory_.partner() || other.bridgeMemory_.partner();
    if (!remembered || !agrees(*this, other) || !agrees(other, *this))
        return;
    if (listening() && other.listening())
        join(other, {rememberedServer(), other.name_}, {other.rememberedServer(), name_}, true);
}

Status Port::openSerial() {
    if (traffic_.isOpen() || !enabled_)
        return Status::AccessDenied;
    traffic_.open();
    return Status::Success;
}

std::shared_ptr<Pump> Port::makePump(Pump::Kind kind, Pump::Ends ends) {
    return std::make_shared<Pump>(kind, traffic_, ends, [this] { pumpEnded(); });
}

// What the client has decided ends a permanent bridge at both ends, also while the partner is away.
void Port::leaveForGood() {
    if (const auto* bridge = connectionAs<Bridge>())
        bridge->partner->bridgeMemory_.forget();
    bridgeMemory_.forget();
}

void Port::leave(std::shared_ptr<Connection> next) noexcept {
    if (const auto* bridge = connectionAs<Bridge>()) {
        bridge->partner->connection_ = nullptr;
        bridge->partner->events_.signal();
    }
    traffic_.joinNothing();
    releaseLater(std::exchange(connection_, std::move(next)));
    releaseLater(std::exchange(endedPump_, nullptr));
    events_.signal();
}

// On the pump's own thread, which cannot wait for its own end.
void Port::pumpEnded() {
    const auto* const pipe = connectionAs<PipeConnection>();
    auto pump = pipe ? pipe->pump : connectionAs<FileConnection>()->pump;
    leave(nullptr);
    endedPump_ = std::move(pump);
}

// What can fail comes first: a bridge has two ends or none.
void Port::join(Port& partner, const Endpoint& there, const Endpoint& back, bool permanent) {
    auto here = std::make_shared<Connection>(Bridge{&partner, there.server, permanent});
    auto beyond = std::make_shared<Connection>(Bridge{this, back.server, permanent});
    if (permanent) {
        bridgeMemory_.remember(there);
        partner.bridgeMemory_.remember(back);
    }
    leave(std::move(here));
    partner.leave(std::move(beyond));
    traffic_.join(partner.traffic_);
}

std::wstring Port::rememberedServer() const {
    return bridgeMemory_.partner() ? bridgeMemory_.partner()->server : L".";
}

void Port::publish() {
    publishedName_.reset();
    if (enabled_ && !name_.empty())
        publishedName_.emplace(name_, deviceName_);
}

// Before a client tells the driver of a new name, it has removed the old one everywhere. A port without a name, or
// with one that is none, would be in everybody's way. The clients are told to look the name up again.
void Port::restoreName() {
    if (name_.empty() || isTaken(name_, deviceName_))
        return;
    key_.writeText(kPortName, name_);
    publish();
    events_.signal();
}

} // namespace zorvan::engine
