// What client, driver and host processes hold at one moment.
#pragma once

#include "support/process_figures.h"

#include <array>

namespace zorvan::devkit {

struct Sample {
    ProcessFigures client; // this process
    ProcessFigures driver;
    ProcessFigures hosts; // all of them together
};

// One figure of a sample.
struct Figure {
    const char* name = "";
    ProcessFigures Sample::*whose = nullptr;
    std::int64_t ProcessFigures::*which = nullptr;
    std::int64_t allowance = 0;   // what it may rise from one quarter of a run to the next: see growth.h
    std::int64_t keptPerPort = 0; // what the system keeps for each port that was ever created

    std::int64_t of(const Sample& sample) const { return sample.*whose.*which; }
};

constexpr std::int64_t kHandleAllowance = 2;
constexpr std::int64_t kThreadAllowance = 1;
// Memory in KiB. In the driver's process it goes up and down with the buffers of the last requests, which are kept.
constexpr std::int64_t kMemoryAllowance = 64;
constexpr std::int64_t kDriverMemoryAllowance = 128;
// Wine's setupapi never frees the list of drivers that fit a new device, and has no function that would.
constexpr std::int64_t kDriverList = 8; // KiB, rounded up

inline constexpr std::array kFigures{
    Figure{"client-handles", &Sample::client, &ProcessFigures::handles, kHandleAllowance},
    Figure{"client-threads", &Sample::client, &ProcessFigures::threads, kThreadAllowance},
    Figure{"client-private-KiB", &Sample::client, &ProcessFigures::privateKiB, kMemoryAllowance, kDriverList},
    Figure{"client-working-set-KiB", &Sample::client, &ProcessFigures::workingSetKiB, kMemoryAllowance, kDriverList},
    Figure{"driver-handles", &Sample::driver, &ProcessFigures::handles, kHandleAllowance},
    Figure{"driver-threads", &Sample::driver, &ProcessFigures::threads, kThreadAllowance},
    Figure{"driver-private-KiB", &Sample::driver, &ProcessFigures::privateKiB, kDriverMemoryAllowance},
    Figure{"driver-working-set-KiB", &Sample::driver, &ProcessFigures::workingSetKiB, kDriverMemoryAllowance},
    Figure{"host-processes", &Sample::hosts, &ProcessFigures::processes, 0},
    Figure{"host-handles", &Sample::hosts, &ProcessFigures::handles, kHandleAllowance},
    Figure{"host-threads", &Sample::hosts, &ProcessFigures::threads, kThreadAllowance},
    Figure{"host-private-KiB", &Sample::hosts, &ProcessFigures::privateKiB, kMemoryAllowance},
    Figure{"host-working-set-KiB", &Sample::hosts, &ProcessFigures::workingSetKiB, kMemoryAllowance}};

// Finds the driver's process through a port, and from then on samples it, its host processes and this process.
class Sampler {
public:
    explicit Sampler(const std::wstring& portName);

    // Throws when the driver's process is gone.
    Sample take() const;

private:
    DWORD driver_;
};

} // namespace zorvan::devkit
