#include "serial_timeouts.h"

#include <algorithm>

namespace zorvan::engine {
namespace {

constexpr std::uint32_t kMaximum = 0xFFFFFFFF;

std::optional<Duration> total(std::uint32_t multiplier, std::uint32_t constant, std::size_t size) {
    if (multiplier == 0 && constant == 0)
        return std::nullopt;
    // Beyond some weeks it makes no difference any more; the sum must not overflow a time that it is added to.
    constexpr std::uint64_t kLongest = std::uint64_t{1} << 40;
    return Duration(std::min(std::uint64_t{multiplier} * size + constant, kLongest));
}

} // namespace

bool areTimeouts(const SERIAL_TIMEOUTS& timeouts) {
    return timeouts.ReadIntervalTimeout != kMaximum || timeouts.ReadTotalTimeoutMultiplier != kMaximum ||
           timeouts.ReadTotalTimeoutConstant != kMaximum;
}

ReadRule readRule(const SERIAL_TIMEOUTS& timeouts, std::size_t size) {
    const auto interval = timeouts.ReadIntervalTimeout;
    const auto multiplier = timeouts.ReadTotalTimeoutMultiplier;
    const auto constant = timeouts.ReadTotalTimeoutConstant;
    using Enough = ReadRule::Enough;
    if (interval == kMaximum && multiplier == 0 && constant == 0)
        return {Enough::WhatIsThere, std::nullopt, std::nullopt};
    if (interval == kMaximum && multiplier == kMaximum)
        return {Enough::Anything, Duration(constant), std::nullopt};

    ReadRule rule{Enough::Everything, total(multiplier, constant, size), std::nullopt};
    if (interval != 0 && interval != kMaximum)
        rule.interval = Duration(interval);
    return rule;
}

std::optional<Duration> writeTimeout(const SERIAL_TIMEOUTS& timeouts, std::size_t size) {
    return total(timeouts.WriteTotalTimeoutMultiplier, timeouts.WriteTotalTimeoutConstant, size);
}

} // namespace zorvan::engine
