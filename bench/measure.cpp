#include "measure.h"

#include <windows.h>

#include <algorithm>

namespace zorvan::bench {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<double> takeRound(int round, int samples, const std::vector<Sample>& sides) {
    std::vector<std::vector<double>> taken(sides.size());
    for (int sample = 0; sample < samples; ++sample)
        for (std::size_t turn = 0; turn < sides.size(); ++turn) {
            const auto side = (turn + static_cast<std::size_t>(round + sample)) % sides.size();
            taken[side].push_back(sides[side]());
        }
    std::vector<double> medians(sides.size());
    std::transform(taken.begin(), taken.end(), medians.begin(), median);
    return medians;
}

} // namespace

double now() {
    static const double period = [] {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return 1.0 / static_cast<double>(frequency.QuadPart);
    }();
    LARGE_INTEGER ticks;
    QueryPerformanceCounter(&ticks);
    return period * static_cast<double>(ticks.QuadPart);
}

void rest() {
    constexpr DWORD kRestMs = 3;
    Sleep(kRestMs);
}

Spread spreadOf(std::vector<double> values) {
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    return {median(values), *least, *greatest};
}

std::vector<Series> takeTurns(const Plan& plan, const std::vector<Sample>& sides) {
    std::vector<Series> series(sides.size());
    for (int round = -1; round < plan.rounds; ++round) {
        const auto medians = takeRound(round + 1, plan.samples, sides);
        for (std::size_t side = 0; round >= 0 && side < sides.size(); ++side)
            series[side].push_back(medians[side]);
    }
    return series;
}

Spread ratioOf(const Series& side, const Series& beside) {
    std::vector<double> ratios(side.size());
    std::transform(side.begin(), side.end(), beside.begin(), ratios.begin(), std::divides<>());
    return spreadOf(std::move(ratios));
}

} // namespace zorvan::bench
