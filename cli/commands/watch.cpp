// watch: what happens to the ports, as it happens.
#include "com/change_listener.h"
#include "com/failure.h"
#include "com/interrupt.h"
#include "com/library.h"
#include "commands/command.h"
#include "output/console.h"
#include "output/json.h"

#include <fmt/core.h>

#include <chrono>

namespace portwright {
namespace {

// The library waits for changes of so many ports at most.
constexpr std::size_t kMostPorts = 63;

struct WatchOptions {
    bool json = false;
    std::optional<double> seconds;
};

std::string timeOf(const SYSTEMTIME& time) {
    return fmt::format(
        "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
        time.wSecond, time.wMilliseconds);
}

// A port may be gone before its event is told.
std::optional<std::string> modeOf(const Change& change) {
    VirtualSerialDeviceMode mode{};
    if (change.event == "deleted" || FAILED(change.device->get_mode(&mode)))
        return std::nullopt;
    return modeInWords(mode);
}

void printEvent(const Change& change, bool asJson) {
    const auto time = timeOf(change.time);
    const auto mode = modeOf(change);
    if (asJson)
        console::print(json::event(time, change.event, change.portName, mode));
    else
        console::print(fmt::format(
            "{}  {:<8} {:<7} {}\n", time.substr(11, 12), change.event, change.portName, mode.value_or("")));
}

void requireWatchable(const Library& library) {
    if (library.ports().size() > kMostPorts)
        throw Failure(
            fmt::format("the library can watch {} ports at most, and there are more", kMostPorts),
            "delete some, or look again and again: portwright list");
}

using Clock = std::chrono::steady_clock;

// Returns false when the time is over or Ctrl+C was pressed.
bool awaitChanges(HANDLE changed, std::optional<Clock::time_point> end) {
    DWORD timeout = INFINITE;
    if (end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
        timeout = left > 0 ? static_cast<DWORD>(left) : 0;
    }
    const HANDLE events[] = {interrupt::event(), changed};
    const DWORD result = WaitForMultipleObjects(2, events, FALSE, timeout);
    if (result == WAIT_FAILED)
        throwLastError("wait for changes");
    return result == WAIT_OBJECT_0 + 1;
}

void watch(const WatchOptions& options) {
    const Library library;
    requireWatchable(library);
    const ChangeListener listener(library);
    std::optional<Clock::time_point> end;
    if (options.seconds)
        end = Clock::now() + std::chrono::milliseconds(static_cast<long long>(*options.seconds * 1000));
    console::complain("Watching; Ctrl+C ends it.\n");
    while (awaitChanges(listener.event(), end)) {
        for (const auto& change : listener.take())
            printEvent(change, options.json);
        requireWatchable(library);
    }
}

} // namespace

void addWatchCommand(CLI::App& app) {
    auto [line, options] = addCommand<WatchOptions>(
        app, "watch", "Print what happens to the ports, one line for each event",
        "  portwright watch\n"
        "  portwright watch --json --for 60 > events.jsonl\n\n"
        "Events: added, deleted, renamed, mode. A rename also reports the mode, and changes in quick succession may\n"
        "be reported once. Times are UTC.",
        watch);
    line.flag("--json", options.json, "Print JSON Lines");
    line.number("--for", "SECONDS", options.seconds, {0.1, 86400.0}, "End after so long, in seconds");
}

} // namespace portwright
