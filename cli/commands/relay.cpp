// serve, connect: a port's bytes over TCP.
#include "com/library.h"
#include "commands/command.h"
#include "relay/port_relay.h"

namespace portwright {
namespace {

struct RelayOptions {
    std::string port;
    std::string address;
};

void serve(const RelayOptions& options) {
    const auto address = parseAddress(options.address, "127.0.0.1");
    servePort(Library().port(options.port), address);
}

void connect(const RelayOptions& options) {
    const auto address = parseAddress(options.address, "");
    connectPort(Library().port(options.port), address);
}

constexpr char kNotes[] =
    "\n\nWhatever the port was connected with ends. A peer that reads slowly slows the port, and "
    "what the port\nsends without a peer waits for the next one. A peer that ends its side has "
    "left.";

} // namespace

void addRelayCommands(CLI::App& app) {
    auto serving = addCommand<RelayOptions>(
        app, "serve", "Offer a port's bytes over TCP until Ctrl+C, to one client after the other",
        std::string(
            "  portwright serve COM7 --listen 7000           on this computer alone (127.0.0.1)\n"
            "  portwright serve COM7 --listen 0.0.0.0:7000   for other computers, too: nobody is asked who he is") +
            kNotes,
        serve);
    serving.line.port(serving.options.port);
    serving.line.text("--listen", "[ADDRESS:]PORT", serving.options.address, "Where; port 0 takes any free one")
        .required();

    auto connecting = addCommand<RelayOptions>(
        app, "connect", "Join a port with a TCP server until Ctrl+C, again whenever the connection ends",
        std::string("  portwright connect COM7 --to 192.168.1.20:7000") + kNotes, connect);
    connecting.line.port(connecting.options.port);
    connecting.line.text("--to", "HOST:PORT", connecting.options.address, "The server").required();
}

} // namespace portwright
