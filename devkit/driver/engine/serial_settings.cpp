#include "serial_settings.h"

namespace zorvan::driver {
namespace {

constexpr std::uint32_t kQueueSize = 4096;
constexpr std::uint32_t kEveryEvent = 0x1FFF; // SERIAL_EV_RXCHAR to SERIAL_EV_EVENT2
constexpr std::uint32_t kEveryPurge =
    SERIAL_PURGE_TXABORT | SERIAL_PURGE_RXABORT | SERIAL_PURGE_TXCLEAR | SERIAL_PURGE_RXCLEAR;

SERIAL_COMMPROP properties() {
    SERIAL_COMMPROP properties{};
    properties.PacketLength = sizeof properties;
    properties.PacketVersion = 2;
    properties.ServiceMask = 1; // a serial service
    properties.MaxBaud = SERIAL_BAUD_USER;
    properties.ProvSubType = PST_RS232;
    properties.ProvCapabilities = SERIAL_PCF_DTRDSR | SERIAL_PCF_RTSCTS | SERIAL_PCF_CD | SERIAL_PCF_PARITY_CHECK |
                                  SERIAL_PCF_XONXOFF | SERIAL_PCF_SETXCHAR | SERIAL_PCF_TOTALTIMEOUTS |
                                  SERIAL_PCF_INTTIMEOUTS | SERIAL_PCF_SPECIALCHARS;
    properties.SettableParams = SERIAL_SP_PARITY | SERIAL_SP_BAUD | SERIAL_SP_DATABITS | SERIAL_SP_STOPBITS |
                                SERIAL_SP_HANDSHAKING | SERIAL_SP_PARITY_CHECK | SERIAL_SP_CARRIER_DETECT;
    properties.SettableBaud = SERIAL_BAUD_USER | 0x7FFFF; // every standard rate, and any other
    properties.SettableData = SERIAL_DATABITS_5 | SERIAL_DATABITS_6 | SERIAL_DATABITS_7 | SERIAL_DATABITS_8;
    properties.SettableStopParity = SERIAL_STOPBITS_10 | SERIAL_STOPBITS_15 | SERIAL_STOPBITS_20 |
                                    SERIAL_PARITY_NONE | SERIAL_PARITY_ODD | SERIAL_PARITY_EVEN | SERIAL_PARITY_MARK |
                                    SERIAL_PARITY_SPACE;
    properties.CurrentTxQueue = kQueueSize;
    properties.CurrentRxQueue = kQueueSize;
    return properties;
}

// Serial drivers accept a record that is followed by more; only a short one is refused.
template <class Record>
Status read(std::span<const std::uint8_t> input, Record& record) {
    if (input.size() < sizeof record)
        return Status::BufferTooSmall;
    std::memcpy(&record, input.data(), sizeof record);
    return Status::Success;
}

bool isLine(const SERIAL_LINE_CONTROL& line) {
    const bool stopBitsFit = line.StopBits != STOP_BITS_1_5 || line.WordLength == 5;
    return line.StopBits <= STOP_BITS_2 && line.Parity <= SPACE_PARITY && line.WordLength >= 5 &&
           line.WordLength <= 8 && stopBitsFit;
}

bool isHandFlow(const SERIAL_HANDFLOW& flow) {
    return (flow.ControlHandShake & SERIAL_CONTROL_INVALID) == 0 && (flow.FlowReplace & SERIAL_FLOW_INVALID) == 0 &&
           (flow.ControlHandShake & SERIAL_DTR_MASK) != SERIAL_DTR_MASK && flow.XonLimit >= 0 && flow.XoffLimit >= 0;
}

Status purge(std::span<const std::uint8_t> input) {
    std::uint32_t what = 0;
    if (const auto status = read(input, what); status != Status::Success)
        return status;
    return what != 0 && (what & ~kEveryPurge) == 0 ? Status::Success : Status::InvalidParameter;
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
    case IOCTL_SERIAL_GET_WAIT_MASK:
        reply.append(waitMask_);
        return Status::Success;
    case IOCTL_SERIAL_GET_DTRRTS:
        reply.append(dtrRts_);
        return Status::Success;
    case IOCTL_SERIAL_GET_MODEMSTATUS:
        reply.append(std::uint32_t{0});
        return Status::Success;
    case IOCTL_SERIAL_GET_COMMSTATUS:
        reply.append(SERIAL_STATUS{});
        return Status::Success;
    case IOCTL_SERIAL_GET_PROPERTIES:
        reply.append(properties());
        return Status::Success;
    default:
        return Status::InvalidDeviceRequest;
    }
}

Status SerialSettings::handleSet(std::uint32_t code, std::span<const std::uint8_t> input) {
    switch (code) {
    case IOCTL_SERIAL_SET_BAUD_RATE:
        return read(input, baudRate_);
    case IOCTL_SERIAL_SET_LINE_CONTROL:
        return setLineControl(input);
    case IOCTL_SERIAL_SET_TIMEOUTS:
        return read(input, timeouts_);
    case IOCTL_SERIAL_SET_HANDFLOW:
        return setHandFlow(input);
    case IOCTL_SERIAL_SET_CHARS:
        return read(input, chars_);
    case IOCTL_SERIAL_SET_WAIT_MASK:
        return setWaitMask(input);
    case IOCTL_SERIAL_SET_DTR:
        dtrRts_ |= SERIAL_DTR_STATE;
        return Status::Success;
    case IOCTL_SERIAL_CLR_DTR:
        dtrRts_ &= ~static_cast<std::uint32_t>(SERIAL_DTR_STATE);
        return Status::Success;
    case IOCTL_SERIAL_SET_RTS:
        dtrRts_ |= SERIAL_RTS_STATE;
        return Status::Success;
    case IOCTL_SERIAL_CLR_RTS:
        dtrRts_ &= ~static_cast<std::uint32_t>(SERIAL_RTS_STATE);
        return Status::Success;
    case IOCTL_SERIAL_PURGE:
        return purge(input);
    case IOCTL_SERIAL_SET_QUEUE_SIZE: // advice only
        return Status::Success;
    default:
        return Status::InvalidDeviceRequest;
    }
}

Status SerialSettings::setLineControl(std::span<const std::uint8_t> input) {
    SERIAL_LINE_CONTROL line{};
    if (const auto status = read(input, line); status != Status::Success)
        return status;
    if (!isLine(line))
        return Status::InvalidParameter;
    lineControl_ = line;
    return Status::Success;
}

Status SerialSettings::setHandFlow(std::span<const std::uint8_t> input) {
    SERIAL_HANDFLOW flow{};
    if (const auto status = read(input, flow); status != Status::Success)
        return status;
    if (!isHandFlow(flow))
        return Status::InvalidParameter;
    handFlow_ = flow;
    return Status::Success;
}

Status SerialSettings::setWaitMask(std::span<const std::uint8_t> input) {
    std::uint32_t mask = 0;
    if (const auto status = read(input, mask); status != Status::Success)
        return status;
    if ((mask & ~kEveryEvent) != 0)
        return Status::InvalidParameter;
    waitMask_ = mask;
    return Status::Success;
}

} // namespace zorvan::driver
