// pins: which modem control pin drives which, at the two ends of a bridge.
#include "com/failure.h"
#include "com/library.h"
#include "com/names.h"
#include "commands/attempts.h"
#include "commands/command.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

namespace portwright {
namespace {

using zorvan::ComPointer;

constexpr char kRules[] =
    "DTR and RTS may drive DSR, DCD, CTS and RI; DSR, DCD and CTS may drive DTR and RTS; RI may "
    "drive RI";

struct PinsOptions {
    std::string port;
    std::vector<std::string> words;
};

struct PinName {
    const char* name;
    HRESULT (STDMETHODCALLTYPE ISocket::*get)(IPin**);
};

constexpr PinName kPins[] = {{"DTR", &ISocket::get_DTR}, {"DSR", &ISocket::get_DSR}, {"DCD", &ISocket::get_DCD},
                             {"RTS", &ISocket::get_RTS}, {"CTS", &ISocket::get_CTS}, {"RI", &ISocket::get_RI}};

struct Pin {
    bool local;
    const PinName* name;
};

struct PinChange {
    bool connect;
    Pin from;
    Pin to;
    std::string text;
};

Pin parsePin(const std::string& text) {
    const auto dot = text.find('.');
    const auto side = text.substr(0, dot);
    const auto* const name = std::find_if(std::begin(kPins), std::end(kPins), [&](const PinName& pin) {
        return dot != std::string::npos && sameName(text.substr(dot + 1), pin.name);
    });
    if (name == std::end(kPins) || (!sameName(side, "local") && !sameName(side, "remote")))
        throw WrongUse(text + " is no pin: give local or remote, a dot, and DTR, DSR, DCD, RTS, CTS or RI");
    return {sameName(side, "local"), name};
}

// A sequence of: connect PIN PIN..., disconnect PIN PIN..., reset.
std::vector<PinChange> parseChanges(const std::vector<std::string>& words) {
    std::vector<PinChange> changes;
    std::string action;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "connect" || words[i] == "disconnect" || words[i] == "reset") {
            action = words[i];
            continue;
        }
        if (action.empty() || action == "reset" || i + 1 == words.size())
            throw WrongUse("pins takes: connect FROM TO, disconnect FROM TO, or reset");
        changes.push_back(
            {action == "connect", parsePin(words[i]), parsePin(words[i + 1]),
             fmt::format("{} {} and {}", action, words[i], words[i + 1])});
        ++i;
    }
    if (changes.empty() && action != "reset")
        throw WrongUse("pins takes: connect FROM TO, disconnect FROM TO, or reset");
    return changes;
}

ComPointer<IPin> pinOf(const Port& port, const Pin& pin) {
    auto& device = port.device();
    ComPointer<ISocket> socket;
    check(
        pin.local ? device.get_localSocket(socket.put()) : device.get_remoteSocket(socket.put()),
        "reach the pins of " + port.name());
    ComPointer<IPin> result;
    check(((*socket).*pin.name->get)(result.put()), "reach the pins of " + port.name());
    return result;
}

void change(const Port& port, const PinChange& change) {
    const auto from = pinOf(port, change.from);
    const auto to = pinOf(port, change.to);
    check(
        change.connect ? from->sendTo(to.get()) : from->removeConnectionTo(to.get()),
        fmt::format("{} of {}", change.text, port.name()), kRules);
}

// What another process has sent before cannot be read: so each use begins with the null modem cable.
void pins(const PinsOptions& options) {
    const auto changes = parseChanges(options.words);
    const auto port = Library().port(options.port);
    check(port.device().restoreDefaultPins(), "wire the pins of " + port.name());
    Attempts attempts;
    for (const auto& next : changes)
        attempts.run(next.text, [&] { change(port, next); });
    attempts.end();
}

} // namespace

void addPinsCommand(CLI::App& app) {
    auto [line, options] = addCommand<PinsOptions>(
        app, "pins", "Wire the modem control pins of a bridge",
        "  portwright pins COM7 connect local.RTS remote.DSR\n"
        "  portwright pins COM7 connect local.RTS remote.DSR disconnect local.RTS remote.CTS\n"
        "  portwright pins COM7 reset\n\n"
        "Each use begins with the null modem cable (each DTR drives the other DSR and DCD, each RTS the other CTS),\n"
        "so give all changes at once.\n" +
            std::string(kRules) + ".",
        pins);
    line.port(options.port);
    line.texts("CHANGES", options.words, "connect FROM TO, disconnect FROM TO, or reset; in any number").required();
}

} // namespace portwright
