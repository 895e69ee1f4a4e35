// What a program sets and asks of an open serial port through the system's serial control codes.
#pragma once

#include "base/unique.h"
#include "driver/record.h"
#include "status.h"

#include <winioctl.h>

#include <ntdef.h>

#include <ntddser.h>

#include <cstdint>
#include <span>

namespace zorvan::driver {

// The settings of one opening of the port. They are state only: no traffic flows yet, so nothing waits and nothing
// is queued, and the codes that would wait for traffic are refused.
class SerialSettings {
public:
    Status handleRequest(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply);

private:
    Status handleQuery(std::uint32_t code, protocol::RecordWriter& reply) const;
    Status handleSet(std::uint32_t code, std::span<const std::uint8_t> input);
    Status setLineControl(std::span<const std::uint8_t> input);
    Status setHandFlow(std::span<const std::uint8_t> input);
    Status setWaitMask(std::span<const std::uint8_t> input);

    SERIAL_BAUD_RATE baudRate_{9600};
    SERIAL_LINE_CONTROL lineControl_{STOP_BIT_1, NO_PARITY, 8};
    SERIAL_TIMEOUTS timeouts_{};
    SERIAL_HANDFLOW handFlow_{SERIAL_DTR_CONTROL, SERIAL_RTS_CONTROL, 2048, 512};
    SERIAL_CHARS chars_{0, 0, 0, 0, 0x11, 0x13};
    std::uint32_t waitMask_ = 0;
    std::uint32_t dtrRts_ = SERIAL_DTR_STATE | SERIAL_RTS_STATE;
};

} // namespace zorvan::driver
