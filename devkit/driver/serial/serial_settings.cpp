#include "serial_settings.h"

#include "serial_timeouts.h"

namespace zorvan::engine {
namespace {

bool isLine(const SERIAL_LINE_CONTROL& line) {
    const bool stopBitsFit = line.StopBits != STOP_BITS_1_5 || line.WordLength == 5;
    return line.StopBits <= STOP_BITS_2 && line.Parity <= SPACE_PARITY && line.WordLength >= 5 &&
           line.WordLength <= 8 && stopBitsFit;
}

bool isHandFlow(const SERIAL_HANDFLOW& flow) {
    return (flow.ControlHandShake & SERIAL_CONTROL_INVALID) == 0 && (flow.FlowReplace & SERIAL_FLOW_INVALID) == 0 &&
           (flow.ControlHandShake & SERIAL_DTR_MASK) != SERIAL_DTR_MASK && flow.XonLimit >= 0 && flow.XoffLimit >= 0;
}

// Leaves the setting as it is when the new one is refused.
template <class Record, class Check>
Status readChecked(std::span<const std::uint8_t> input, Record& setting, Check isValid) {
    Record record{};
    if (const auto status = readRecord(input, record); status != Status::Success)
        return status;
    if (!isValid(record))
        return Status::InvalidParameter;
    setting = record;
    return Status::Success;
}

} // namespace

Status SerialSettings::handleRequest(
    std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply) {
    const auto status = handleQuery(code, reply);
    return status == Status::InvalidDeviceRequest ? handleSet(code, input) : status;
}

Status SerialSettings::handleQuery(std::uint32_t code, protocol::RecordWriter& reply) const {
    switch (code) {
    case IOCTL_SERIAL_GET_BAUD_RATE:
        reply.append(baudRate_);
        return Status::Success;
    case IOCTL_SERIAL_GET_LINE_CONTROL:
        reply.append(lineControl_);
        return Status::Success;
    case IOCTL_SERIAL_GET_TIMEOUTS:
        reply.append(timeouts_);
        return Status::Success;
    case IOCTL_SERIAL_GET_HANDFLOW:
        reply.append(handFlow_);
        return Status::Success;
    case IOCTL_SERIAL_GET_CHARS:
        reply.append(chars_);
        return Status::Success;
    default:
        return Status::InvalidDeviceRequest;
    }
}

Status SerialSettings::handleSet(std::uint32_t code, std::span<const std::uint8_t> input) {
    switch (code) {
    case IOCTL_SERIAL_SET_BAUD_RATE:
        return readRecord(input, baudRate_);
    case IOCTL_SERIAL_SET_LINE_CONTROL:
        return readChecked(input, lineControl_, isLine);
    case IOCTL_SERIAL_SET_TIMEOUTS:
        return readChecked(input, timeouts_, areTimeouts);
    case IOCTL_SERIAL_SET_HANDFLOW:
        return readChecked(input, handFlow_, isHandFlow);
    case IOCTL_SERIAL_SET_CHARS:
        return readRecord(input, chars_);
    default:
        return Status::InvalidDeviceRequest;
    }
}

} // namespace zorvan::engine
