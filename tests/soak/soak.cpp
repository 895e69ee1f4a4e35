// Works on ports for so many seconds, in whole rounds, and fails when anything goes wrong. Prints what was done so
// far and what client, driver and host processes hold after each round, as comma-separated values with a heading.
//
//   soak.exe SECONDS [--not-alone]
//
// Not alone: other processes work on ports meanwhile, and their events do not count.
#include "round.h"
#include "support/process_figures.h"

#include <cstdlib>

namespace zorvan::test {

namespace {

void printHeading() {
    std::printf("seconds,rounds,ports,bytes,events,hosts-processes");
    for (const auto* process : {"client", "driver", "hosts"})
        for (const auto* figure : {"handles", "threads", "private", "resident"})
            std::printf(",%s-%s", process, figure);
    std::puts("");
}

void printRow(double seconds, const Work& work) {
    const auto processes = devkit::portProcesses();
    std::printf(
        "%.1f,%u,%u,%llu,%zu,%zu", seconds, work.rounds, work.ports, work.bytes, work.events, processes.hostCount);
    for (const auto* process : {&processes.client, &processes.driver, &processes.hosts})
        std::printf(
            ",%zu,%zu,%zu,%zu", process->handles, process->threads, process->privateKiB, process->workingSetKiB);
    std::puts("");
    std::fflush(stdout);
}

void soak(double length, bool alone) {
    require(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "initialising COM");
    Rounds rounds(createRegisteredLibrary(), alone);
    const auto begun = GetTickCount64();
    printHeading();
    for (double seconds = 0; seconds < length;) {
        rounds.run();
        seconds = static_cast<double>(GetTickCount64() - begun) / 1000;
        printRow(seconds, rounds.work());
    }
}

} // namespace

} // namespace zorvan::test

int main(int count, char** arguments) {
    try {
        zorvan::test::soak(count > 1 ? std::atof(arguments[1]) : 1, count < 3);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "FAILED: %s\n", error.what());
        return 1;
    }
}
