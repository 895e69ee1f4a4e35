#include "events/event_queue.h"

#include "base/hresult_error.h"

#include <mutex>

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
        const std::unique_lock lock(lock_);
        items_.push_back(std::move(item));
    }
    WakeConditionVariable(&added_);
}

std::optional<EventQueue::WorkItem> EventQueue::take(DWORD milliseconds) {
    const Deadline deadline(milliseconds);
    const std::unique_lock lock(lock_);
    while (items_.empty())
        if (!waitForItem(deadline.left()))
            return std::nullopt;
    auto item = std::move(items_.front());
    items_.pop_front();
    return item;
}

bool EventQueue::waitForItem(DWORD milliseconds) {
    if (SleepConditionVariableSRW(&added_, lock_.native(), milliseconds, 0) != FALSE)
        return true;
    if (GetLastError() != ERROR_TIMEOUT)
        throwLastError();
    return false;
}

} // namespace zorvan
