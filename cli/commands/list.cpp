// list, show: the ports and their state.
#include "com/library.h"
#include "commands/attempts.h"
#include "commands/command.h"
#include "output/console.h"
#include "output/json.h"
#include "output/table.h"

#include <fmt/core.h>

namespace portwright {
namespace {

struct ListOptions {
    bool json = false;
};

struct ShowOptions {
    std::string port;
    bool json = false;
};

void printTable(const std::vector<PortState>& states) {
    if (states.empty()) {
        console::complain("There are no virtual ports; portwright create makes one.\n");
        return;
    }
    constexpr auto kRight = Table::Align::Right;
    constexpr std::size_t kOtherEnd = 2;
    Table table(
        {{"name"},
         {"mode"},
         {"other end"},
         {"enabled"},
         {"connections", kRight},
         {"sent", kRight},
         {"received", kRight}},
        kOtherEnd);
    for (const auto& state : states)
        table.add(
            {state.portName, modeInWords(state.mode), otherEnd(state), state.enabled ? "on" : "off",
             std::to_string(state.connections), std::to_string(state.bytesSent),
             std::to_string(state.bytesReceived)});
    table.print();
}

void printStates(const std::vector<PortState>& states, bool json) {
    if (!json) {
        printTable(states);
        return;
    }
    console::print(json::ports(states));
}

// What can be read is listed; the status tells that something could not be.
void list(const ListOptions& options) {
    const Library library;
    std::vector<PortState> states;
    Attempts attempts;
    for (const auto& port : library.ports())
        attempts.run("list " + port.name(), [&] { states.push_back(port.state()); });
    printStates(states, options.json);
    attempts.end();
}

void show(const ShowOptions& options) {
    const auto state = Library().port(options.port).state();
    if (options.json) {
        console::print(json::port(state));
        return;
    }
    for (const auto& [key, value] : json::members(state))
        console::print(fmt::format("{:<21} {}\n", key, value));
}

} // namespace

void addListCommands(CLI::App& app) {
    auto listing =
        addCommand<ListOptions>(app, "list", "List the ports", "  portwright list\n  portwright list --json", list);
    listing.line.flag("--json", listing.options.json, "Print an array of ports as JSON");

    auto showing = addCommand<ShowOptions>(
        app, "show", "Show everything about one port", "  portwright show COM7\n  portwright show 7 --json", show);
    showing.line.port(showing.options.port);
    showing.line.flag("--json", showing.options.json, "Print the port as JSON");
}

} // namespace portwright
