#include "serial_port.h"

namespace zorvan::engine {
namespace {

constexpr std::uint32_t kEveryEvent = 0x1FFF; // SERIAL_EV_RXCHAR to SERIAL_EV_EVENT2
constexpr std::uint32_t kEveryPurge =
    SERIAL_PURGE_TXABORT | SERIAL_PURGE_RXABORT | SERIAL_PURGE_TXCLEAR | SERIAL_PURGE_RXCLEAR;

struct LineEvent {
    std::uint32_t line;
    std::uint32_t event;
};

constexpr LineEvent kLineEvents[] = {
    {SERIAL_CTS_STATE, SERIAL_EV_CTS},
    {SERIAL_DSR_STATE, SERIAL_EV_DSR},
    {SERIAL_DCD_STATE, SERIAL_EV_RLSD},
    {SERIAL_RI_STATE, SERIAL_EV_RING},
};

struct Handshake {
    std::uint32_t flow; // in ControlHandShake
    std::uint32_t line; // that must be high
    std::uint32_t reason;
};

constexpr Handshake kHandshakes[] = {
    {SERIAL_CTS_HANDSHAKE, SERIAL_CTS_STATE, SERIAL_TX_WAITING_FOR_CTS},
    {SERIAL_DSR_HANDSHAKE, SERIAL_DSR_STATE, SERIAL_TX_WAITING_FOR_DSR},
    {SERIAL_DCD_HANDSHAKE, SERIAL_DCD_STATE, SERIAL_TX_WAITING_FOR_DCD},
};

std::uint32_t dtrRtsState(Pins outputs) {
    return ((outputs & kDtr) != 0 ? SERIAL_DTR_STATE : 0U) | ((outputs & kRts) != 0 ? SERIAL_RTS_STATE : 0U);
}

} // namespace

void SerialPort::submit(Operation operation, void* request, std::span<std::uint8_t> buffer) {
    switch (operation) {
    case Operation::Read:
        return receiver_.read(request, buffer, readRule(settings_.timeouts(), buffer.size()));
    case Operation::Write:
        return transmitter_.write(request, buffer, writeTimeout(settings_.timeouts(), buffer.size()));
    case Operation::Flush:
        return transmitter_.write(request, {}, std::nullopt);
    case Operation::WaitForEvent:
        return events_.wait(request, buffer);
    }
}

void SerialPort::cancel(void* request) {
    // One that is not found has been completed already.
    if (!receiver_.cancel(request) && !transmitter_.cancel(request))
        events_.cancel(request);
}

void SerialPort::abort(Status status) {
    receiver_.abort(status);
    transmitter_.abort(status);
    events_.abort(status);
}

std::optional<Tick> SerialPort::deadline() const {
    const auto read = receiver_.deadline();
    const auto write = transmitter_.deadline();
    if (read && write)
        return std::min(*read, *write);
    return read ? read : write;
}

void SerialPort::expire() {
    receiver_.expire();
    transmitter_.expire();
}

void SerialPort::receive(std::span<std::uint8_t> bytes) {
    const auto received = filter(bytes);
    receiver_.receive(received);
    raiseForReceived(received);
}

std::size_t SerialPort::take(std::span<std::uint8_t> block) {
    auto taken = transmitter_.takeUrgent(block);
    if (maySend())
        taken += transmitter_.take(block.subspan(taken));
    if (taken != 0 && transmitter_.unsent() == 0)
        events_.raise(SERIAL_EV_TXEMPTY);
    return taken;
}

bool SerialPort::setInputs(std::uint32_t modemStatus, bool breaking) {
    const auto changes = modemStatus_ ^ modemStatus;
    const bool breakBegins = breaking && !breakSeen_;
    modemStatus_ = modemStatus;
    breakSeen_ = breaking;

    std::uint32_t events = breakBegins ? SERIAL_EV_BREAK : 0;
    errors_ |= breakBegins ? SERIAL_ERROR_BREAK : 0;
    for (const auto& [line, event] : kLineEvents)
        events |= (changes & line) != 0 ? event : 0;
    events_.raise(events);
    return changes != 0;
}

Status SerialPort::control(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply) {
    auto status = handleLive(code, input, reply);
    if (status == Status::InvalidDeviceRequest)
        status = handleLine(code);
    if (status == Status::InvalidDeviceRequest)
        status = settings_.handleRequest(code, input, reply);
    if (status == Status::Success && code == IOCTL_SERIAL_SET_HANDFLOW)
        configure();
    return status;
}

Status
SerialPort::handleLive(std::uint32_t code, std::span<const std::uint8_t> input, protocol::RecordWriter& reply) {
    switch (code) {
    case IOCTL_SERIAL_GET_DTRRTS:
        reply.append(dtrRtsState(outputs()));
        return Status::Success;
    case IOCTL_SERIAL_GET_MODEMSTATUS:
        reply.append(modemStatus_);
        return Status::Success;
    case IOCTL_SERIAL_GET_COMMSTATUS:
        reply.append(takeStatus());
        return Status::Success;
    case IOCTL_SERIAL_GET_PROPERTIES:
        reply.append(properties());
        return Status::Success;
    case IOCTL_SERIAL_GET_WAIT_MASK:
        reply.append(events_.mask());
        return Status::Success;
    case IOCTL_SERIAL_SET_WAIT_MASK:
        return setWaitMask(input);
    case IOCTL_SERIAL_SET_QUEUE_SIZE:
        return setQueueSize(input);
    case IOCTL_SERIAL_PURGE:
        return purge(input);
    case IOCTL_SERIAL_IMMEDIATE_CHAR:
        return sendUrgently(input);
    default:
        return Status::InvalidDeviceRequest;
    }
}

Status SerialPort::handleLine(std::uint32_t code) {
    switch (code) {
    case IOCTL_SERIAL_SET_DTR:
        return outputs_.setDtr(settings_.handFlow(), true);
    case IOCTL_SERIAL_CLR_DTR:
        return outputs_.setDtr(settings_.handFlow(), false);
    case IOCTL_SERIAL_SET_RTS:
        return outputs_.setRts(settings_.handFlow(), true);
    case IOCTL_SERIAL_CLR_RTS:
        return outputs_.setRts(settings_.handFlow(), false);
    case IOCTL_SERIAL_SET_BREAK_ON:
        breaking_ = true;
        return Status::Success;
    case IOCTL_SERIAL_SET_BREAK_OFF:
        breaking_ = false;
        return Status::Success;
    case IOCTL_SERIAL_SET_XOFF:
        xoffReceived_ = true;
        return Status::Success;
    case IOCTL_SERIAL_SET_XON:
        xoffReceived_ = false;
        return Status::Success;
    case IOCTL_SERIAL_RESET_DEVICE: // there is no hardware that could be stuck
        return Status::Success;
    default:
        return Status::InvalidDeviceRequest;
    }
}

Status SerialPort::purge(std::span<const std::uint8_t> input) {
    std::uint32_t what = 0;
    if (const auto status = readRecord(input, what); status != Status::Success)
        return status;
    if (what == 0 || (what & ~kEveryPurge) != 0)
        return Status::InvalidParameter;
    // What is to be sent waits in the writes alone, so that there is nothing to clear but them.
    if ((what & SERIAL_PURGE_TXABORT) != 0)
        transmitter_.abort(Status::Cancelled);
    if ((what & SERIAL_PURGE_RXABORT) != 0)
        receiver_.abort(Status::Cancelled);
    if ((what & SERIAL_PURGE_RXCLEAR) != 0)
        receiver_.clear();
    return Status::Success;
}

Status SerialPort::setWaitMask(std::span<const std::uint8_t> input) {
    std::uint32_t mask = 0;
    if (const auto status = readRecord(input, mask); status != Status::Success)
        return status;
    if ((mask & ~kEveryEvent) != 0)
        return Status::InvalidParameter;
    events_.setMask(mask);
    return Status::Success;
}

Status SerialPort::setQueueSize(std::span<const std::uint8_t> input) {
    SERIAL_QUEUE_SIZE size{};
    const auto status = readRecord(input, size);
    if (status == Status::Success)
        receiver_.setCapacity(size.InSize);
    return status;
}

Status SerialPort::sendUrgently(std::span<const std::uint8_t> input) {
    std::uint8_t byte = 0;
    if (const auto status = readRecord(input, byte); status != Status::Success)
        return status;
    return transmitter_.sendUrgently(byte) ? Status::Success : Status::InsufficientResources;
}

void SerialPort::configure() {
    outputs_.configure(settings_.handFlow());
    if ((settings_.handFlow().FlowReplace & SERIAL_AUTO_TRANSMIT) == 0)
        xoffReceived_ = false;
}

std::uint32_t SerialPort::holdReasons() const {
    std::uint32_t reasons = 0;
    for (const auto& [flow, line, reason] : kHandshakes)
        if ((settings_.handFlow().ControlHandShake & flow) != 0 && (modemStatus_ & line) == 0)
            reasons |= reason;
    reasons |= xoffReceived_ ? SERIAL_TX_WAITING_FOR_XON : 0;
    return reasons | (breaking_ ? SERIAL_TX_WAITING_ON_BREAK : 0);
}

SERIAL_STATUS SerialPort::takeStatus() {
    SERIAL_STATUS status{};
    status.Errors = std::exchange(errors_, 0);
    status.HoldReasons = holdReasons();
    status.AmountInInQueue = static_cast<ULONG>(receiver_.queued());
    status.AmountInOutQueue = static_cast<ULONG>(transmitter_.unsent());
    return status;
}

SERIAL_COMMPROP SerialPort::properties() const {
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
    properties.CurrentRxQueue = static_cast<ULONG>(receiver_.capacity());
    return properties; // no transmit queue: writes wait themselves
}

// Flow control characters are not, where the hand flow obeys them, nor zeros, where it drops them.
bool SerialPort::isForProgram(std::uint8_t byte) {
    const auto flow = settings_.handFlow().FlowReplace;
    const bool isXoff = byte == settings_.chars().XoffChar;
    if ((flow & SERIAL_AUTO_TRANSMIT) != 0 && (isXoff || byte == settings_.chars().XonChar)) {
        xoffReceived_ = isXoff;
        return false;
    }
    return byte != 0 || (flow & SERIAL_NULL_STRIPPING) == 0;
}

std::span<std::uint8_t> SerialPort::filter(std::span<std::uint8_t> bytes) {
    if ((settings_.handFlow().FlowReplace & (SERIAL_AUTO_TRANSMIT | SERIAL_NULL_STRIPPING)) == 0)
        return bytes;
    const auto end = std::remove_if(bytes.begin(), bytes.end(), [this](auto byte) { return !isForProgram(byte); });
    return {bytes.begin(), end};
}

void SerialPort::raiseForReceived(std::span<const std::uint8_t> bytes) {
    if (bytes.empty())
        return;
    std::uint32_t events = SERIAL_EV_RXCHAR;
    const bool watched = (events_.mask() & SERIAL_EV_RXFLAG) != 0; // looking through every byte costs time
    if (watched && std::find(bytes.begin(), bytes.end(), settings_.chars().EventChar) != bytes.end())
        events |= SERIAL_EV_RXFLAG;
    if (receiver_.queued() >= receiver_.capacity() / 5 * 4)
        events |= SERIAL_EV_RX80FULL;
    events_.raise(events);
}

void SerialPort::followQueue() {
    outputs_.follow(settings_.handFlow(), {receiver_.queued(), receiver_.capacity(), transmitter_.unsent()});
    const bool automatic = (settings_.handFlow().FlowReplace & SERIAL_AUTO_RECEIVE) != 0;
    if (!automatic || xoffSent_ == outputs_.throttled())
        return;
    if (transmitter_.sendUrgently(outputs_.throttled() ? settings_.chars().XoffChar : settings_.chars().XonChar))
        xoffSent_ = outputs_.throttled();
}

} // namespace zorvan::engine
