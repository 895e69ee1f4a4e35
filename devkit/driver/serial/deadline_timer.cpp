#include "deadline_timer.h"

#include <algorithm>
#include <system_error>

namespace zorvan::engine {
namespace {

using FileTimeUnits = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

// Negative: counted from now.
FILETIME relativeTime(Tick deadline) {
    const auto wait = std::chrono::ceil<FileTimeUnits>(deadline - Clock::now());
    const auto units = static_cast<std::uint64_t>(-std::max<std::int64_t>(wait.count(), 1));
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

} // namespace

DeadlineTimer::DeadlineTimer(Callback callback, void* context)
    : callback_(callback), context_(context), timer_(CreateThreadpoolTimer(call, this, nullptr)) {
    if (!timer_)
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateThreadpoolTimer");
}

DeadlineTimer::~DeadlineTimer() {
    SetThreadpoolTimer(timer_, nullptr, 0, 0);
    WaitForThreadpoolTimerCallbacks(timer_, TRUE);
    CloseThreadpoolTimer(timer_);
}

void DeadlineTimer::set(std::optional<Tick> deadline) {
    if (deadline == deadline_)
        return;
    deadline_ = deadline;
    auto time = deadline ? relativeTime(*deadline) : FILETIME{};
    SetThreadpoolTimer(timer_, deadline ? &time : nullptr, 0, 0);
}

void CALLBACK DeadlineTimer::call(PTP_CALLBACK_INSTANCE, void* self, PTP_TIMER) {
    const auto& timer = *static_cast<DeadlineTimer*>(self);
    timer.callback_(timer.context_);
}

} // namespace zorvan::engine
