// How long things take, and how sides that do the same work are measured beside each other.
#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace zorvan::bench {

// Seconds since some moment.
double now();

template <class Work>
double secondsOf(Work&& work) {
    const double begun = now();
    std::forward<Work>(work)();
    return now() - begun;
}

// Lets every thread come to rest, so that each sample starts from the same state.
void rest();

struct Spread {
    double median = 0;
    double least = 0;
    double greatest = 0;
};
Spread spreadOf(std::vector<double> values);

struct Plan {
    int rounds;
    int samples; // of each side in a round
};

// Does the work of its side once. Returns the seconds that it took.
using Sample = std::function<double()>;

// The median of each round.
using Series = std::vector<double>;

// The sides take turns, sample by sample; who begins changes, too. What disturbs the machine meets them all alike.
// One round more comes first and does not count.
std::vector<Series> takeTurns(const Plan& plan, const std::vector<Sample>& sides);

// One side's time beside another's, round by round.
Spread ratioOf(const Series& side, const Series& beside);

} // namespace zorvan::bench
