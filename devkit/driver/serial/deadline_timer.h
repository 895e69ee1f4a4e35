// Calls back when a time has come, on a thread of the system's pool.
#pragma once

#include "serial_timeouts.h"

#include <threadpoolapiset.h>

namespace zorvan::engine {

class DeadlineTimer {
public:
    using Callback = void (*)(void* context);

    // Throws std::system_error when that fails.
    DeadlineTimer(Callback callback, void* context);
    // Waits for a callback that is under way.
    ~DeadlineTimer();
    DeadlineTimer(const DeadlineTimer&) = delete;
    DeadlineTimer& operator=(const DeadlineTimer&) = delete;

    // Replaces the time that was set before; none: no call.
    void set(std::optional<Tick> deadline);

private:
    static void CALLBACK call(PTP_CALLBACK_INSTANCE, void* self, PTP_TIMER);

    Callback callback_;
    void* context_;
    PTP_TIMER timer_;
    std::optional<Tick> deadline_;
};

} // namespace zorvan::engine
