// What has arrived at an open port, and the reads that wait for it.
#pragma once

#include "byte_queue.h"
#include "requests/status.h"
#include "serial_timeouts.h"

#include <deque>

namespace zorvan::engine {

class Receiver {
public:
    static constexpr std::size_t kLeastCapacity = 16384;
    static constexpr std::size_t kGreatestCapacity = std::size_t{1} << 20;

    Receiver() { queue_.reserve(kReserve * capacity_); }

    // The request is completed when the rule is met, now or later.
    void read(void* request, std::span<std::uint8_t> buffer, const ReadRule& rule);

    // How much may arrive now: what the waiting reads take and what the queue holds.
    std::size_t room() const;
    void receive(std::span<const std::uint8_t> bytes) noexcept;
    // Lets more than that arrive once. Throws std::bad_alloc.
    void makeRoom(std::size_t size) { queue_.reserve(queue_.size() + size); }

    std::size_t queued() const { return queue_.size(); }
    void clear() { queue_.clear(); }
    std::size_t capacity() const { return capacity_; }
    // Throws std::bad_alloc.
    void setCapacity(std::size_t capacity);

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

    // Of memory: bytes that were taken are dropped less often then.
    static constexpr std::size_t kReserve = 2;

    void serve();
    void begin(Read& read);
    std::span<const std::uint8_t> serveFrom(std::span<const std::uint8_t> bytes);
    void fill(Read& read);
    void noteArrival(Read& read, std::size_t count);
    void finishFirst();

    ByteQueue queue_;
    std::size_t capacity_ = kLeastCapacity;
    std::deque<Read> reads_;
};

} // namespace zorvan::engine
