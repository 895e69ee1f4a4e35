// The system's rules about how long a read or a write of a serial port waits.
#pragma once

#include "serial_codes.h"

#include <chrono>
#include <optional>

namespace zorvan::engine {

using Clock = std::chrono::steady_clock;
using Tick = Clock::time_point;
using Duration = std::chrono::milliseconds;

// Without a time the request waits for ever.
struct ReadRule {
    enum class Enough { Everything, Anything, WhatIsThere };

    Enough enough = Enough::Everything;
    std::optional<Duration> total;    // from the read's turn on
    std::optional<Duration> interval; // from the latest byte on
};

// All values at their maximum contradict each other; the system refuses them.
bool areTimeouts(const SERIAL_TIMEOUTS& timeouts);

ReadRule readRule(const SERIAL_TIMEOUTS& timeouts, std::size_t size);
std::optional<Duration> writeTimeout(const SERIAL_TIMEOUTS& timeouts, std::size_t size);

} // namespace zorvan::engine
