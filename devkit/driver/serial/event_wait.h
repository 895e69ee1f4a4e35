// What a program wants to hear of on its port, and the request that waits for it.
#pragma once

#include "requests/status.h"

#include <cstdint>
#include <span>

namespace zorvan::engine {

class EventWait {
public:
    std::uint32_t mask() const { return mask_; }
    // A waiting request is completed with no event.
    void setMask(std::uint32_t mask);

    // Completed with the events of the mask that have come since the last time, now or as soon as one comes. One
    // request may wait at a time, and only for something.
    void wait(void* request, std::span<std::uint8_t> buffer);
    void raise(std::uint32_t events);

    bool cancel(void* request);
    void abort(Status status);

private:
    void deliver(std::uint32_t events);

    std::uint32_t mask_ = 0;
    std::uint32_t unreported_ = 0;
    void* request_ = nullptr;
    std::span<std::uint8_t> buffer_;
};

} // namespace zorvan::engine
