#include "events/event_queue.h"

#include "base/hresult_error.h"

namespace zorvan {

namespace {

// Waking up for nothing must not make a wait longer than it was asked to be.
class Deadline {
public:
    explicit Deadline(DWORD milliseconds) : milliseconds_(milliseconds) {}

    DWORD left() const {
        if (milliseconds_ == INFINITE)
            return INFINITE;
        const auto passed = GetTickCount64() - start_;
        return passed < milliseconds_ ? static_cast<DWORD>(milliseconds_ - passed) : 0;
    }

private:
    DWORD milliseconds_;
    ULONGLONG start_ = GetTickCount64();
};

} // namespace

void EventQueue::add(WorkItem item) {
    {
        const HeldLock held(lock_);
        items_.push_back(std::move(item));
    }
    WakeConditionVariable(&added_);
}

std::optional<EventQueue::WorkItem> EventQueue::take(DWORD milliseconds) {
    const Deadline deadline(milliseconds);
    const HeldLock held(lock_);
    while (items_.empty())
        if (!waitForItem(held, deadline.left()))
            return std::nullopt;
    auto item = std::move(items_.front());
    items_.pop_front();
    return item;
}

bool EventQueue::waitForItem(const HeldLock& held, DWORD milliseconds) {
    if (SleepConditionVariableSRW(&added_, held.mutex()->native(), milliseconds, 0) != FALSE)
        return true;
    if (GetLastError() != ERROR_TIMEOUT)
        throwLastError();
    return false;
}

} // namespace zorvan
