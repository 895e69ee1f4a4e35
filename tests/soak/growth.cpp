#include "growth.h"

#include <algorithm>

namespace zorvan::devkit {

namespace {

constexpr unsigned kEnough = 5;

} // namespace

std::size_t quarterAt(double progress) {
    return std::min(static_cast<std::size_t>(progress * kQuarters), kQuarters - 1);
}

void Growth::add(std::size_t quarter, std::int64_t value) {
    auto& seen = quarters_[quarter];
    seen.lowest = seen.samples == 0 ? value : std::min(seen.lowest, value);
    ++seen.samples;
}

bool Growth::enough() const {
    return std::all_of(
        quarters_.begin() + 1, quarters_.end(), [](const Quarter& quarter) { return quarter.samples >= kEnough; });
}

bool Growth::grows(std::int64_t allowance) const {
    return lowest(2) - lowest(1) > allowance && lowest(3) - lowest(2) > allowance;
}

} // namespace zorvan::devkit
