// Whether a figure grows over a run.
//
// The run is cut into quarters. The first one is warm-up. Of each other quarter the lowest value counts: what comes
// and goes within a round, or waits a moment to be freed, does not show in it. The figure grows when the lowest value
// rises both from the second to the third quarter and from the third to the fourth, each time by more than an
// allowance. So something that is leaked in every round shows, and something that is set up late, once, does not.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zorvan::devkit {

constexpr std::size_t kQuarters = 4;

// The quarter of a run at this point of it, which lies between 0 and 1.
std::size_t quarterAt(double progress);

class Growth {
public:
    void add(std::size_t quarter, std::int64_t value);

    // Enough to judge: a leak of one in every round rises by more in a quarter than any allowance for counts.
    bool enough() const;
    bool grows(std::int64_t allowance) const;
    std::int64_t lowest(std::size_t quarter) const { return quarters_[quarter].lowest; }

private:
    struct Quarter {
        std::int64_t lowest = 0;
        unsigned samples = 0;
    };
    std::array<Quarter, kQuarters> quarters_;
};

} // namespace zorvan::devkit
