#include "receiver.h"

#include "requests/engine_lock.h"

namespace zorvan::engine {

bool Receiver::Read::enough() const {
    if (done == buffer.size() || rule.enough == ReadRule::Enough::WhatIsThere)
        return true;
    return rule.enough == ReadRule::Enough::Anything && done != 0;
}

void Receiver::read(void* request, std::span<std::uint8_t> buffer, const ReadRule& rule) {
    reads_.push_back({request, buffer, rule});
    serve();
}

std::size_t Receiver::room() const {
    auto room = capacity_ - std::min(capacity_, queue_.size());
    for (const auto& read : reads_)
        room += read.buffer.size() - read.done;
    return room;
}

// While reads wait, the queue is empty.
void Receiver::receive(std::span<const std::uint8_t> bytes) noexcept {
    queue_.append(serveFrom(bytes));
}

void Receiver::setCapacity(std::size_t capacity) {
    const auto wanted = std::clamp(capacity, kLeastCapacity, kGreatestCapacity);
    queue_.reserve(kReserve * wanted);
    capacity_ = wanted;
}

bool Receiver::cancel(void* request) {
    const auto found =
        std::find_if(reads_.begin(), reads_.end(), [&](const Read& read) { return read.request == request; });
    if (found == reads_.end())
        return false;
    completeLater(request, Status::Cancelled, found->done);
    reads_.erase(found);
    serve();
    return true;
}

void Receiver::abort(Status status) {
    for (const auto& read : reads_)
        completeLater(read.request, status, read.done);
    reads_.clear();
}

std::optional<Tick> Receiver::deadline() const {
    if (reads_.empty())
        return std::nullopt;
    const auto& read = reads_.front();
    if (read.end && read.intervalEnd)
        return std::min(*read.end, *read.intervalEnd);
    return read.end ? read.end : read.intervalEnd;
}

// A read whose time is up has succeeded with what has come.
void Receiver::expire() {
    const auto due = deadline();
    if (!due || *due > Clock::now())
        return;
    finishFirst();
    serve();
}

void Receiver::serve() {
    while (!reads_.empty()) {
        auto& read = reads_.front();
        if (!read.begun)
            begin(read);
        fill(read);
        if (!read.enough())
            return;
        finishFirst();
    }
}

void Receiver::begin(Read& read) {
    read.begun = true;
    if (read.rule.total)
        read.end = Clock::now() + *read.rule.total;
}

// Returns what is left.
std::span<const std::uint8_t> Receiver::serveFrom(std::span<const std::uint8_t> bytes) {
    while (!reads_.empty() && !bytes.empty()) {
        auto& read = reads_.front();
        const auto count = std::min(bytes.size(), read.buffer.size() - read.done);
        std::copy_n(bytes.begin(), count, read.buffer.begin() + static_cast<std::ptrdiff_t>(read.done));
        noteArrival(read, count);
        bytes = bytes.subspan(count);
        if (read.enough())
            finishFirst();
        serve();
    }
    return bytes;
}

void Receiver::fill(Read& read) {
    noteArrival(read, queue_.take(read.buffer.subspan(read.done)));
}

void Receiver::noteArrival(Read& read, std::size_t count) {
    read.done += count;
    if (count != 0 && read.rule.interval)
        read.intervalEnd = Clock::now() + *read.rule.interval;
}

void Receiver::finishFirst() {
    completeLater(reads_.front().request, Status::Success, reads_.front().done);
    reads_.pop_front();
}

} // namespace zorvan::engine
