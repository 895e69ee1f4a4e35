#include "report.h"

#include <stdexcept>

namespace zorvan::devkit {

namespace {

constexpr double kMebibyte = 1024 * 1024;

void printFigures(const ProcessFigures& figures) {
    std::printf(
        " | %7lld %7lld %8lld %8lld", static_cast<long long>(figures.handles),
        static_cast<long long>(figures.threads), static_cast<long long>(figures.privateKiB),
        static_cast<long long>(figures.workingSetKiB));
}

} // namespace

void printHeading() {
    const char* const processes = " | handles threads  private  w. set";
    std::printf(
        "%35s | %-33s | %-33s | %s\n%7s %6s %5s %6s %7s%s%s%s hosts\n", "", "client (memory in KiB)", "driver",
        "hosts", "seconds", "rounds", "ports", "MiB", "events", processes, processes, processes);
    std::fflush(stdout);
}

void printLine(double seconds, const Work& work, const Sample& sample) {
    std::printf(
        "%7.0f %6u %5u %6.1f %7llu", seconds, work.rounds, work.ports, static_cast<double>(work.bytes) / kMebibyte,
        work.events);
    printFigures(sample.client);
    printFigures(sample.driver);
    printFigures(sample.hosts);
    std::printf(" %5lld\n", static_cast<long long>(sample.hosts.processes));
    std::fflush(stdout);
}

RoundFile::RoundFile(const wchar_t* name) : file_(_wfopen(name, L"wb")) {
    if (!file_)
        throw std::runtime_error("the file for the figures cannot be created");
    std::fputs("seconds,rounds,ports,bytes,events", file_.get());
    for (const auto& figure : kFigures)
        std::fprintf(file_.get(), ",%s", figure.name);
    written(std::fputc('\n', file_.get()) != EOF);
}

void RoundFile::add(double seconds, const Work& work, const Sample& sample) {
    std::fprintf(file_.get(), "%.3f,%u,%u,%llu,%llu", seconds, work.rounds, work.ports, work.bytes, work.events);
    for (const auto& figure : kFigures)
        std::fprintf(file_.get(), ",%lld", static_cast<long long>(figure.of(sample)));
    written(std::fputc('\n', file_.get()) != EOF && std::fflush(file_.get()) == 0);
}

void RoundFile::written(bool succeeded) const {
    if (!succeeded || std::ferror(file_.get()) != 0)
        throw std::runtime_error("the file for the figures cannot be written");
}

void Verdict::add(double progress, const Work& work, const Sample& sample) {
    for (std::size_t i = 0; i < kFigures.size(); ++i)
        growth_[i].add(quarterAt(progress), kFigures[i].of(sample) - kFigures[i].keptPerPort * work.ports);
}

bool Verdict::print() const {
    bool steady = true;
    std::printf("%-24s %9s %9s %9s\n", "lowest in quarter", "2", "3", "4");
    for (std::size_t i = 0; i < kFigures.size(); ++i) {
        const auto& growth = growth_[i];
        const bool grows = growth.grows(kFigures[i].allowance);
        std::printf("%-24s", kFigures[i].name);
        for (std::size_t quarter = 1; quarter < kQuarters; ++quarter)
            std::printf(" %9lld", static_cast<long long>(growth.lowest(quarter)));
        std::printf(
            grows ? "  GROWS by more than %lld a quarter\n" : "\n", static_cast<long long>(kFigures[i].allowance));
        steady = steady && !grows;
    }
    return steady;
}

} // namespace zorvan::devkit
