// A point that so many threads must have reached before anybody goes on beyond it.
//
// The C++ library's own latch loses wake-ups in GCC 12 where the system has no futex: it looks at the counter and
// only then takes the lock under which it sleeps. A test would hang now and then.
#pragma once

#include <condition_variable>
#include <mutex>

namespace zorvan::test {

class Latch {
public:
    explicit Latch(int expected) : missing_(expected) {}
    Latch(const Latch&) = delete;
    Latch& operator=(const Latch&) = delete;

    void arrive() {
        const std::lock_guard lock(mutex_);
        if (--missing_ == 0)
            complete_.notify_all();
    }

    void wait() {
        std::unique_lock lock(mutex_);
        complete_.wait(lock, [this] { return missing_ <= 0; });
    }

    void arriveAndWait() {
        arrive();
        wait();
    }

private:
    std::mutex mutex_;
    std::condition_variable complete_;
    int missing_;
};

} // namespace zorvan::test
