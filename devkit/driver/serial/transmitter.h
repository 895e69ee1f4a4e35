// The writes of an open port that wait for somebody to take their bytes.
#pragma once

#include "requests/status.h"
#include "serial_timeouts.h"

#include <array>
#include <deque>
#include <span>

namespace zorvan::engine {

class Transmitter {
public:
    // The request is completed when all its bytes are taken or its time is up. One of no bytes is completed when
    // those before it are: so a flush waits.
    void write(void* request, std::span<const std::uint8_t> bytes, std::optional<Duration> timeout);
    // Goes before everything that waits, also while transmission is held. False: too many wait already.
    bool sendUrgently(std::uint8_t byte);

    std::size_t unsent() const;
    std::size_t takeUrgent(std::span<std::uint8_t> block);
    std::size_t take(std::span<std::uint8_t> block);

    bool cancel(void* request);
    void abort(Status status);

    std::optional<Tick> deadline() const;
    void expire();

private:
    struct Write {
        void* request;
        std::span<const std::uint8_t> bytes;
        std::optional<Duration> timeout;
        std::size_t done = 0;
        std::optional<Tick> end = {}; // set at the write's turn

        std::size_t unsent() const { return bytes.size() - done; }
    };

    void beginFirst();
    void finishTaken();
    void finishFirst();

    std::array<std::uint8_t, 64> urgent_{};
    std::size_t urgentCount_ = 0;
    std::deque<Write> writes_; // the first one has its turn
};

} // namespace zorvan::engine
