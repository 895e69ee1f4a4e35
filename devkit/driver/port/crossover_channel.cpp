#include "crossover_channel.h"

namespace zorvan::engine {

std::mt19937_64::result_type CrossoverChannel::seed() {
    std::random_device source;
    return std::uint64_t{source()} << 32 | source();
}

void CrossoverChannel::setProbability(std::uint32_t thousandths) {
    thousandths_ = thousandths;
    if (thousandths == 0)
        return;
    gaps_ = std::geometric_distribution<std::uint64_t>(thousandths / 1000.0);
    drawGap();
}

// The gaps between independent events of one probability are geometrically distributed: drawing the gaps costs one
// random number for each bit that is turned over instead of one for each bit.
void CrossoverChannel::disturb(std::span<std::uint8_t> bytes) {
    if (thousandths_ == 0)
        return;
    const std::uint64_t bits = bytes.size() * 8;
    std::uint64_t bit = 0;
    while (gap_ < bits - bit) {
        bit += gap_;
        bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        ++bit;
        drawGap();
    }
    gap_ -= bits - bit;
}

void CrossoverChannel::drawGap() {
    gap_ = gaps_(random_);
}

} // namespace zorvan::engine
