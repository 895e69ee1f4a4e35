// The bytes and the lines of one port: between the program that has it open and whatever it is connected with.
//
// Touched only with the engine's lock held (engine_lock.h).
#pragma once

#include "crossover_channel.h"
#include "serial/deadline_timer.h"
#include "serial/serial_port.h"

#include <optional>

namespace zorvan::engine {

// What a port may be connected with beside another port: it takes and brings bytes on a thread of its own.
class Carrier {
public:
    virtual ~Carrier() = default;

    // There is something to take, or room to bring something.
    virtual void wake() = 0;
};

class Traffic {
public:
    Traffic() = default;
    ~Traffic() = default; // without the lock: it waits for the timer
    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

    // The program's side, which takes one opener at a time and starts anew with each.
    bool isOpen() const { return serial_.has_value(); }
    void open();
    // What is still asked for comes to this status.
    void close(Status status);
    void submit(Operation operation, void* request, std::span<std::uint8_t> buffer);
    Status control(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply);
    void cancel(void* request);

    // The far side: nothing, another port, or a carrier. Each ends what was before.
    void joinNothing();
    void join(Traffic& partner);
    void join(Carrier& carrier);
    bool isJoinedWith(const Carrier& carrier) const { return carrier_ == &carrier; }

    // For carriers. One that the port is not joined with any more takes and brings nothing.
    // Somebody has come to the carrier's other end, or has left it.
    void setPresent(const Carrier& carrier, bool present);
    std::size_t take(const Carrier& carrier, std::span<std::uint8_t> block);
    // Returns how many of the bytes there was room for.
    std::size_t bring(const Carrier& carrier, std::span<std::uint8_t> bytes);
    // Nobody will bring the rest again: the queue takes more than its share. Throws std::bad_alloc.
    void bringLast(std::span<std::uint8_t> bytes);

    const protocol::TrafficCounters& counters() const { return counters_; }

    // In a bridge there is one wiring, that of the end where it was set last. The one that makes the bridge brings
    // its own, and both ends read the common one, each as it counts the pins.
    const PinConnections& pinConnections() const { return pinConnections_; }
    void setPinConnections(const PinConnections& connections);

    const protocol::ErrorEmulationState& crossover() const { return crossover_; }
    void setCrossover(const protocol::ErrorEmulationState& crossover);

    const protocol::ErrorEmulationLong& transmitOverflow() const { return transmitOverflow_; }
    void setTransmitOverflow(const protocol::ErrorEmulationLong& overflow);

private:
    static void expire(void* self);
    void propagate() noexcept;
    bool carry();
    bool carryTo(Traffic& partner);
    void wakeCarrier();
    void overflow();
    std::size_t room() const { return serial_ ? serial_->room() : 0; }
    std::size_t unsent() const { return serial_ && serial_->maySend() ? serial_->unsent() : 0; }
    void receive(std::span<std::uint8_t> bytes);
    bool driveLines();
    bool setInputs(Pins inputs, bool breaking);
    Pins outputs() const { return serial_ ? serial_->outputs() : Pins{0}; }
    bool breaking() const { return serial_ && serial_->breaking(); }
    void setTimer();

    std::optional<SerialPort> serial_; // while it is open
    Traffic* partner_ = nullptr;
    Carrier* carrier_ = nullptr;
    bool present_ = false;
    bool carrierLacksRoom_ = false;
    bool carrierLacksBytes_ = false;
    PinConnections pinConnections_ = protocol::kNullModem;
    protocol::ErrorEmulationState crossover_{};
    protocol::ErrorEmulationLong transmitOverflow_{protocol::kTransmitOverflow, 0, 0};
    protocol::TrafficCounters counters_{};
    CrossoverChannel channel_;
    DeadlineTimer timer_{expire, this};
};

} // namespace zorvan::engine
