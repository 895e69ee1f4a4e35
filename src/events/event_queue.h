// Work for the threads inside dispatchEvents.
#pragma once

#include "base/slim_lock.h"

#include <deque>
#include <functional>
#include <optional>

namespace zorvan {

// First in, first out; any thread may add and take, and each item is taken once.
class EventQueue {
public:
    // Answers whether to go on dispatching.
    using WorkItem = std::function<bool()>;

    EventQueue() = default;
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    void add(WorkItem item);

    // Waits up to so many milliseconds, INFINITE without limit; nothing when none came.
    std::optional<WorkItem> take(DWORD milliseconds);

private:
    // False when the time is over.
    bool waitForItem(const HeldLock& held, DWORD milliseconds);

    SlimLock lock_;
    CONDITION_VARIABLE added_ = CONDITION_VARIABLE_INIT;
    std::deque<WorkItem> items_;
};

} // namespace zorvan
