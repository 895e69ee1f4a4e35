// A line that disturbs: every bit that passes is turned over with one probability, whatever happens to the others.
#pragma once

#include <cstdint>
#include <random>
#include <span>

namespace zorvan::engine {

class CrossoverChannel {
public:
    // 0 leaves every bit as it is.
    void setProbability(std::uint32_t thousandths);

    void disturb(std::span<std::uint8_t> bytes);

private:
    void drawGap();

    std::mt19937_64 random_{seed()};
    std::geometric_distribution<std::uint64_t> gaps_;
    std::uint32_t thousandths_ = 0;
    std::uint64_t gap_ = 0; // bits that pass before the next one that is turned over

    static std::mt19937_64::result_type seed();
};

} // namespace zorvan::engine
