#include "transmitter.h"

#include "requests/engine_lock.h"

#include <algorithm>
#include <numeric>

namespace zorvan::engine {

void Transmitter::write(void* request, std::span<const std::uint8_t> bytes, std::optional<Duration> timeout) {
    writes_.push_back({request, bytes, timeout});
    if (writes_.size() == 1)
        beginFirst();
    finishTaken();
}

std::size_t Transmitter::unsent() const {
    return std::accumulate(writes_.begin(), writes_.end(), urgentCount_, [](std::size_t sum, const Write& write) {
        return sum + write.unsent();
    });
}

bool Transmitter::sendUrgently(std::uint8_t byte) {
    if (urgentCount_ == urgent_.size())
        return false;
    urgent_[urgentCount_++] = byte;
    return true;
}

std::size_t Transmitter::takeUrgent(std::span<std::uint8_t> block) {
    const auto count = std::min(block.size(), urgentCount_);
    std::copy_n(urgent_.begin(), count, block.begin());
    std::copy(urgent_.begin() + static_cast<std::ptrdiff_t>(count), urgent_.end(), urgent_.begin());
    urgentCount_ -= count;
    return count;
}

std::size_t Transmitter::take(std::span<std::uint8_t> block) {
    std::size_t taken = 0;
    while (taken < block.size() && !writes_.empty()) {
        auto& write = writes_.front();
        const auto count = std::min(block.size() - taken, write.unsent());
        std::copy_n(write.bytes.data() + write.done, count, block.data() + taken);
        write.done += count;
        taken += count;
        finishTaken();
    }
    return taken;
}

bool Transmitter::cancel(void* request) {
    const auto found =
        std::find_if(writes_.begin(), writes_.end(), [&](const Write& write) { return write.request == request; });
    if (found == writes_.end())
        return false;
    completeLater(request, Status::Cancelled, found->done);
    const bool wasFirst = found == writes_.begin();
    writes_.erase(found);
    if (wasFirst)
        beginFirst();
    finishTaken();
    return true;
}

void Transmitter::abort(Status status) {
    for (const auto& write : writes_)
        completeLater(write.request, status, write.done);
    writes_.clear();
}

std::optional<Tick> Transmitter::deadline() const {
    return writes_.empty() ? std::nullopt : writes_.front().end;
}

// A write whose time is up has succeeded with what was taken of it.
void Transmitter::expire() {
    const auto due = deadline();
    if (!due || *due > Clock::now())
        return;
    finishFirst();
    finishTaken();
}

void Transmitter::beginFirst() {
    if (!writes_.empty() && writes_.front().timeout)
        writes_.front().end = Clock::now() + *writes_.front().timeout;
}

void Transmitter::finishTaken() {
    while (!writes_.empty() && writes_.front().unsent() == 0)
        finishFirst();
}

void Transmitter::finishFirst() {
    completeLater(writes_.front().request, Status::Success, writes_.front().done);
    writes_.pop_front();
    beginFirst();
}

} // namespace zorvan::engine
