#include "host_events.h"

#include "wine/kernel/handle_count.h"

namespace zorvan::engine {
namespace {

// Resetting an event that its owner made non-signalled changes nothing; resetting anything else fails.
bool isEvent(HANDLE handle) {
    return ResetEvent(handle) != FALSE;
}

// When only our own handle is left nobody can wait on the event any more.
bool isAbandoned(const UniqueHandle& event) {
    return isLastHandle(event.get());
}

} // namespace

bool HostEvents::add(HostHandle handle) {
    auto event = handle.releaseCopy();
    if (!event || !isEvent(event.get()))
        return false;
    dropAbandoned();
    if (events_.size() == kMaximum)
        events_.erase(events_.begin());
    events_.push_back(std::move(event));
    return true;
}

void HostEvents::signal() const {
    for (const auto& event : events_)
        SetEvent(event.get()); // cannot fail for an event that we own
}

void HostEvents::dropAbandoned() {
    std::erase_if(events_, isAbandoned);
}

} // namespace zorvan::engine
