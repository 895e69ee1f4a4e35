// Simulated time: it passes only while the library sleeps. Waits for events and threads are real.
#pragma once

#include <windows.h>

#include <cstdint>

namespace zorvan::simulation {

struct Clock {
    std::uint64_t milliseconds = 0;
};

} // namespace zorvan::simulation
