// watch: what happens to the ports, as it happens.
#include "com/change_listener.h"
#include "com/interrupt.h"
#include "commands/command.h"
#include "output/console.h"
#include "output/json.h"

#include <fmt/format.h>

#include <chrono>

namespace portwright {
namespace {

// The library waits for changes of so many ports at most.
constexpr std::size_t kMostPorts = 63;

struct WatchOptions {
    bool json = false;
    double seconds = 0;
};

std::string timeOf(const SYSTEMTIME& time) {
    return fmt::format(
        "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
        time.wSecond, time.wMilliseconds);
}

// A port may be gone before its event is told.
Json modeOf(IVirtualSerialDevice& device) {
    VirtualSerialDeviceMode mode{};
    return SUCCEEDED(device.get_mode(&mode)) ? Json(modeInWords(mode)) : Json();
}

Json toJson(const Change& change) {
    Json json{{"time", timeOf(change.time)}, {"event", change.event}, {"portName", change.portName}};
    if (change.event != "deleted")
        json["mode"] = modeOf(*change.device);
    return json;
}

void printEvent(const Change& change, bool asJson) {
    const auto json = toJson(change);
    if (asJson) {
        printJson(json, true);
        return;
    }
    const bool hasMode = json.contains("mode") && json["mode"].is_string();
    console::print(fmt::format(
        "{}  {:<8} {:<7} {}\n", timeOf(change.time).substr(11, 12), change.event, change.portName,
        hasMode ? json["mode"].get<std::string>() : ""));
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
    if (options.seconds > 0)
        end = Clock::now() + std::chrono::milliseconds(static_cast<long long>(options.seconds * 1000));
    console::complain("Watching; Ctrl+C ends it.\n");
    while (awaitChanges(listener.event(), end)) {
        for (const auto& change : listener.take())
            printEvent(change, options.json);
        requireWatchable(library);
    }
}

} // namespace

void addWatchCommand(CLI::App& app) {
    const auto [line, options] = addCommand<WatchOptions>(
        app, "watch", "Print what happens to the ports, one line for each event",
        "  portwright watch\n"
        "  portwright watch --json --for 60 > events.jsonl\n\n"
        "Events: added, deleted, renamed, mode. A rename also reports the mode, and changes in quick succession may\n"
        "be reported once. Times are UTC.",
        watch);
    line.add_flag("--json", options.json, "Print JSON Lines");
    line.add_option("--for", options.seconds, "End after so long, in seconds")
        ->check(CLI::Range(0.1, 86400.0).description(""))
        ->type_name("SECONDS");
}

} // namespace portwright
