// What has arrived at an open port, and the reads that wait for it.
#pragma once

#include "byte_queue.h"
#include "serial_timeouts.h"
#include "status.h"

#include <deque>

namespace zorvan::driver {

class Receiver {
public:
    static constexpr std::size_t kLeastCapacity = 16384;

    // The request is completed when the rule is met, now or later.
    void read(void* request, std::span<std::uint8_t> buffer, const ReadRule& rule);

    // How much may arrive now: what the waiting reads take and what the queue holds.
    std::size_t room() const;
    void receive(std::span<const std::uint8_t> bytes);

    std::size_t queued() const { return queue_.size(); }
    void clear() { queue_.clear(); }
    std::size_t capacity() const { return capacity_; }
    void setCapacity(std::size_t capacity) { capacity_ = std::max(capacity, kLeastCapacity); }

    bool cancel(void* request);
    void abort(Status status);

    std::optional<Tick> deadline() const;
    // Ends the read whose time is up.
    void expire();

private:
    struct Read {
        void* request;
        std::span<std::uint8_t> buffer;
        ReadRule rule;
        std::size_t done = 0;
        bool begun = false;                   // it has its turn
        std::optional<Tick> end = {};         // set then
        std::optional<Tick> intervalEnd = {}; // set by the latest byte

        bool enough() const;
    };

    void serve();
    void begin(Read& read);
    void fill(Read& read);
    void finishFirst();

    ByteQueue queue_;
    std::size_t capacity_ = kLeastCapacity;
    std::deque<Read> reads_;
};

} // namespace zorvan::driver
