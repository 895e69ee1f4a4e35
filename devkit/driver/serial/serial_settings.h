// What a program sets on an open serial port through the system's serial control codes and reads back.
#pragma once

#include "driver/record.h"
#include "requests/status.h"
#include "serial_codes.h"

#include <cstdint>
#include <span>

namespace zorvan::engine {

// Serial drivers accept a record that is followed by more; only a short one is refused.
template <class Record>
Status readRecord(std::span<const std::uint8_t> input, Record& record) {
    if (input.size() < sizeof record)
        return Status::BufferTooSmall;
    std::memcpy(&record, input.data(), sizeof record);
    return Status::Success;
}

// The settings of one opening of the port. Baud rate and line control are kept, but change nothing: bytes pass as
// fast as they can, and whole.
class SerialSettings {
public:
    Status handleRequest(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply);

    const SERIAL_TIMEOUTS& timeouts() const { return timeouts_; }
    const SERIAL_HANDFLOW& handFlow() const { return handFlow_; }
    const SERIAL_CHARS& chars() const { return chars_; }

private:
    Status handleQuery(std::uint32_t code, protocol::RecordWriter& reply) const;
    Status handleSet(std::uint32_t code, std::span<const std::uint8_t> input);

    SERIAL_BAUD_RATE baudRate_{9600};
    SERIAL_LINE_CONTROL lineControl_{STOP_BIT_1, NO_PARITY, 8};
    SERIAL_TIMEOUTS timeouts_{};
    SERIAL_HANDFLOW handFlow_{SERIAL_DTR_CONTROL, SERIAL_RTS_CONTROL, 2048, 512};
    SERIAL_CHARS chars_{0, 0, 0, 0, 0x11, 0x13};
};

} // namespace zorvan::engine
