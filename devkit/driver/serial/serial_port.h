// An open serial port as the program that has it open sees it: its requests, its settings and its lines.
//
// Starts anew with each opening. The far side (traffic.h) takes what is to be sent and brings what arrives.
#pragma once

#include "event_wait.h"
#include "receiver.h"
#include "requests/operation.h"
#include "serial_outputs.h"
#include "serial_settings.h"
#include "transmitter.h"

namespace zorvan::engine {

class SerialPort {
public:
    // The request is completed now or later, the buffer being valid until then. Throws std::bad_alloc, the request
    // being the caller's still.
    void submit(Operation operation, void* request, std::span<std::uint8_t> buffer);
    // The other serial control codes, which are answered at once.
    Status control(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply);

    void cancel(void* request);
    void abort(Status status);
    std::optional<Tick> deadline() const;
    void expire();

    // How much may arrive now. What arrives is changed on the way: the hand flow keeps some bytes to itself.
    std::size_t room() const { return receiver_.room(); }
    void makeRoom(std::size_t size) { receiver_.makeRoom(size); }
    void receive(std::span<std::uint8_t> bytes);

    // Takes what may be sent now, as the flow control says.
    std::size_t take(std::span<std::uint8_t> block);
    bool maySend() const { return holdReasons() == 0; }
    std::size_t unsent() const { return transmitter_.unsent(); }

    // Lets the hand flow look how full the port is.
    void followQueue();
    // The lines that this port drives, and the ones that it sees. The latter are bits of the modem status; true: some
    // have changed.
    Pins outputs() const { return outputs_.levels(); }
    bool breaking() const { return breaking_; }
    bool setInputs(std::uint32_t modemStatus, bool breaking);

private:
    Status handleLive(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply);
    Status handleLine(std::uint32_t code);
    Status purge(std::span<const std::uint8_t> input);
    Status setWaitMask(std::span<const std::uint8_t> input);
    Status setQueueSize(std::span<const std::uint8_t> input);
    Status sendUrgently(std::span<const std::uint8_t> input);
    void configure();
    std::uint32_t holdReasons() const;
    SERIAL_STATUS takeStatus();
    SERIAL_COMMPROP properties() const;
    bool isForProgram(std::uint8_t byte);
    std::span<std::uint8_t> filter(std::span<std::uint8_t> bytes);
    void raiseForReceived(std::span<const std::uint8_t> bytes);

    SerialSettings settings_;
    SerialOutputs outputs_;
    Receiver receiver_;
    Transmitter transmitter_;
    EventWait events_;
    std::uint32_t modemStatus_ = 0;
    std::uint32_t errors_ = 0; // since they were last asked for
    bool breaking_ = false;
    bool breakSeen_ = false;
    bool xoffReceived_ = false;
    bool xoffSent_ = false;
};

} // namespace zorvan::engine
