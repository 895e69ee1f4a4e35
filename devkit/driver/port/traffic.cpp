#include "traffic.h"

#include "requests/engine_lock.h"

#include <array>

namespace zorvan::engine {
namespace {

// Where bytes pass from one port to the other, behind the engine's lock.
std::array<std::uint8_t, 16384> passing;

std::uint32_t modemStatus(Pins inputs) {
    return ((inputs & kCts) != 0 ? SERIAL_CTS_STATE : 0U) | ((inputs & kDsr) != 0 ? SERIAL_DSR_STATE : 0U) |
           ((inputs & kDcd) != 0 ? SERIAL_DCD_STATE : 0U) | ((inputs & kRi) != 0 ? SERIAL_RI_STATE : 0U);
}

} // namespace

void Traffic::open() {
    serial_.emplace();
    propagate();
}

void Traffic::close(Status status) {
    if (!serial_)
        return;
    serial_->abort(status);
    serial_.reset();
    propagate();
}

void Traffic::submit(Operation operation, void* request, std::span<std::uint8_t> buffer) {
    if (!serial_)
        return completeLater(request, Status::AccessDenied);
    try {
        serial_->submit(operation, request, buffer);
    } catch (const std::bad_alloc&) {
        return completeLater(request, Status::InsufficientResources);
    }
    propagate();
}

Status Traffic::control(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply) {
    if (!serial_)
        return Status::AccessDenied;
    const auto status = serial_->control(code, input, reply);
    propagate();
    return status;
}

void Traffic::cancel(void* request) {
    if (!serial_)
        return;
    serial_->cancel(request);
    propagate();
}

void Traffic::joinNothing() {
    carrier_ = nullptr;
    present_ = false;
    if (auto* const former = std::exchange(partner_, nullptr)) {
        former->partner_ = nullptr;
        former->propagate();
    }
    propagate();
}

void Traffic::join(Traffic& partner) {
    joinNothing();
    partner.joinNothing();
    partner_ = &partner;
    partner.partner_ = this;
    ++counters_.connections;
    ++partner.counters_.connections;
    setPinConnections(pinConnections_);
}

void Traffic::join(Carrier& carrier) {
    joinNothing();
    carrier_ = &carrier;
    carrierLacksRoom_ = carrierLacksBytes_ = false;
    propagate();
}

void Traffic::setPresent(const Carrier& carrier, bool present) {
    if (!isJoinedWith(carrier))
        return;
    counters_.connections += present && !present_ ? 1 : 0;
    present_ = present;
    propagate();
}

std::size_t Traffic::take(const Carrier& carrier, std::span<std::uint8_t> block) {
    if (!isJoinedWith(carrier))
        return 0;
    const auto taken = serial_ ? serial_->take(block) : 0;
    counters_.bytesSent += taken;
    carrierLacksBytes_ = taken == 0;
    propagate();
    return taken;
}

std::size_t Traffic::bring(const Carrier& carrier, std::span<std::uint8_t> bytes) {
    if (!isJoinedWith(carrier))
        return 0;
    const auto count = std::min(room(), bytes.size());
    if (count != 0)
        receive(bytes.first(count));
    carrierLacksRoom_ = count < bytes.size();
    propagate();
    return count;
}

void Traffic::bringLast(std::span<std::uint8_t> bytes) {
    if (!serial_ || bytes.empty())
        return;
    serial_->makeRoom(bytes.size());
    receive(bytes);
}

void Traffic::setPinConnections(const PinConnections& connections) {
    pinConnections_ = connections;
    if (partner_)
        partner_->pinConnections_ = mirrored(connections);
    propagate();
}

void Traffic::setCrossover(const protocol::ErrorEmulationState& crossover) {
    crossover_ = crossover;
    channel_.setProbability(crossover.enabled != 0 ? crossover.value : 0);
}

void Traffic::setTransmitOverflow(const protocol::ErrorEmulationLong& overflow) {
    transmitOverflow_ = overflow;
    propagate();
}

void Traffic::expire(void* self) {
    const EngineLock lock;
    auto& traffic = *static_cast<Traffic*>(self);
    traffic.timer_.set(std::nullopt);
    if (traffic.serial_)
        traffic.serial_->expire();
    traffic.propagate();
}

// Moves bytes and line levels as far as they go. Flow control makes this a loop: bytes that arrive may lower a line
// or send XOFF, and bytes that are read may let others pass.
void Traffic::propagate() noexcept {
    do {
        if (serial_)
            serial_->followQueue();
        if (partner_ && partner_->serial_)
            partner_->serial_->followQueue();
    } while (carry() || driveLines());
    wakeCarrier();
    setTimer();
    if (partner_)
        partner_->setTimer();
}

bool Traffic::carry() {
    if (!partner_) {
        overflow();
        return false;
    }
    const bool there = carryTo(*partner_);
    const bool back = partner_->carryTo(*this);
    overflow();
    partner_->overflow();
    return there || back;
}

bool Traffic::carryTo(Traffic& partner) {
    bool moved = false;
    while (serial_) {
        const std::span room(passing.data(), std::min(passing.size(), partner.room()));
        const auto taken = serial_->take(room);
        if (taken == 0)
            break;
        counters_.bytesSent += taken;
        partner.receive(room.first(taken));
        moved = true;
    }
    return moved;
}

// Bytes that nobody takes wait, as they do behind flow control. With transmit overflow emulated they are lost, as on
// a line without: they count as sent.
void Traffic::overflow() {
    if (transmitOverflow_.enabled == 0 || !serial_ || (carrier_ && present_))
        return;
    while (const auto lost = serial_->take(passing))
        counters_.bytesSent += lost;
}

// It is not woken for what it does not wait for.
void Traffic::wakeCarrier() {
    if (carrier_ && ((carrierLacksBytes_ && unsent() != 0) || (carrierLacksRoom_ && room() != 0)))
        carrier_->wake();
}

// Every bit is exposed to the crossover where it arrives.
void Traffic::receive(std::span<std::uint8_t> bytes) {
    channel_.disturb(bytes);
    counters_.bytesReceived += bytes.size();
    serial_->receive(bytes);
}

// The lines of a pipe or a pair of files are those of a device that is ready whenever it is there.
bool Traffic::driveLines() {
    if (!partner_)
        return setInputs(present_ ? kCts | kDsr | kDcd : 0, false);
    const auto levels = drivenPins(pinConnections_, {outputs(), partner_->outputs()});
    const bool here = setInputs(levels.local, partner_->breaking());
    const bool there = partner_->setInputs(levels.remote, breaking());
    return here || there;
}

bool Traffic::setInputs(Pins inputs, bool breaking) {
    return serial_ && serial_->setInputs(modemStatus(inputs), breaking);
}

void Traffic::setTimer() {
    timer_.set(serial_ ? serial_->deadline() : std::nullopt);
}

} // namespace zorvan::engine
