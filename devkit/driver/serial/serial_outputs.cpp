#include "serial_outputs.h"

namespace zorvan::engine {
namespace {

std::uint32_t dtrMode(const SERIAL_HANDFLOW& flow) {
    return flow.ControlHandShake & SERIAL_DTR_MASK;
}

std::uint32_t rtsMode(const SERIAL_HANDFLOW& flow) {
    return flow.FlowReplace & SERIAL_RTS_MASK;
}

// The program drives a line unless the port does.
bool isDtrManual(const SERIAL_HANDFLOW& flow) {
    return dtrMode(flow) != SERIAL_DTR_HANDSHAKE;
}

bool isRtsManual(const SERIAL_HANDFLOW& flow) {
    return rtsMode(flow) == 0 || rtsMode(flow) == SERIAL_RTS_CONTROL;
}

} // namespace

void SerialOutputs::configure(const SERIAL_HANDFLOW& flow) {
    if (isDtrManual(flow))
        set(kDtr, dtrMode(flow) == SERIAL_DTR_CONTROL);
    if (isRtsManual(flow))
        set(kRts, rtsMode(flow) == SERIAL_RTS_CONTROL);
}

Status SerialOutputs::setDtr(const SERIAL_HANDFLOW& flow, bool high) {
    if (!isDtrManual(flow))
        return Status::InvalidParameter;
    set(kDtr, high);
    return Status::Success;
}

Status SerialOutputs::setRts(const SERIAL_HANDFLOW& flow, bool high) {
    if (!isRtsManual(flow))
        return Status::InvalidParameter;
    set(kRts, high);
    return Status::Success;
}

// XoffLimit counts the free bytes, XonLimit those that are queued.
void SerialOutputs::follow(const SERIAL_HANDFLOW& flow, const QueueState& state) {
    const auto xoffLimit = static_cast<std::size_t>(flow.XoffLimit);
    if (state.queued + xoffLimit >= state.capacity && state.queued != 0)
        throttled_ = true;
    else if (state.queued <= static_cast<std::size_t>(flow.XonLimit))
        throttled_ = false;

    if (dtrMode(flow) == SERIAL_DTR_HANDSHAKE)
        set(kDtr, !throttled_);
    if (rtsMode(flow) == SERIAL_RTS_HANDSHAKE)
        set(kRts, !throttled_);
    if (rtsMode(flow) == SERIAL_TRANSMIT_TOGGLE)
        set(kRts, state.unsent != 0);
}

void SerialOutputs::set(Pins pin, bool high) {
    levels_ = static_cast<Pins>(high ? levels_ | pin : levels_ & ~pin);
}

} // namespace zorvan::engine
