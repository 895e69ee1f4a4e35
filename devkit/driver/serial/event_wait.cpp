#include "event_wait.h"

#include "requests/engine_lock.h"

#include <cstring>
#include <utility>

namespace zorvan::engine {

void EventWait::setMask(std::uint32_t mask) {
    if (request_)
        deliver(0);
    mask_ = mask;
    unreported_ &= mask;
}

void EventWait::wait(void* request, std::span<std::uint8_t> buffer) {
    if (buffer.size() < sizeof unreported_)
        return completeLater(request, Status::BufferTooSmall);
    if (request_ || mask_ == 0)
        return completeLater(request, Status::InvalidParameter);
    request_ = request;
    buffer_ = buffer;
    if (unreported_ != 0)
        deliver(std::exchange(unreported_, 0));
}

void EventWait::raise(std::uint32_t events) {
    unreported_ |= events & mask_;
    if (request_ && unreported_ != 0)
        deliver(std::exchange(unreported_, 0));
}

bool EventWait::cancel(void* request) {
    if (request_ != request)
        return false;
    abort(Status::Cancelled);
    return true;
}

void EventWait::abort(Status status) {
    if (request_)
        completeLater(std::exchange(request_, nullptr), status);
}

void EventWait::deliver(std::uint32_t events) {
    std::memcpy(buffer_.data(), &events, sizeof events);
    completeLater(std::exchange(request_, nullptr), Status::Success, sizeof events);
}

} // namespace zorvan::engine
