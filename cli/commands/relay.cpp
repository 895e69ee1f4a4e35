// serve, connect: a port's bytes over TCP.
#include "commands/command.h"
#include "relay/peers.h"
#include "relay/port_relay.h"

#include <fmt/format.h>

namespace portwright {
namespace {

struct ServeOptions {
    std::string port;
    std::string address;
};

struct ConnectOptions {
    std::string port;
    std::string address;
};

void serve(const ServeOptions& options) {
    const auto address = parseAddress(options.address, "127.0.0.1");
    const auto port = Library().port(options.port);
    asio::io_context context;
    Server server(context, address);
    relayPort(
        port, context, server, fmt::format("{} is served on {}; Ctrl+C ends it\n", port.name(), server.address()));
}

void connect(const ConnectOptions& options) {
    const auto address = parseAddress(options.address, "");
    const auto port = Library().port(options.port);
    asio::io_context context;
    Client client(context, address);
    relayPort(
        port, context, client, fmt::format("{} connects to {}; Ctrl+C ends it\n", port.name(), options.address));
}

constexpr char kNotes[] =
    "\n\nWhatever the port was connected with ends. A peer that reads slowly slows the port, and "
    "what the port\nsends without a peer waits for the next one. A peer that ends its side has "
    "left.";

} // namespace

void addRelayCommands(CLI::App& app) {
    const auto serving = addCommand<ServeOptions>(
        app, "serve", "Offer a port's bytes over TCP until Ctrl+C, to one client after the other",
        std::string(
            "  portwright serve COM7 --listen 7000           on this computer alone (127.0.0.1)\n"
            "  portwright serve COM7 --listen 0.0.0.0:7000   for other computers, too: nobody is asked who he is") +
            kNotes,
        serve);
    addPort(serving.line, serving.options.port);
    serving.line.add_option("--listen", serving.options.address, "Where; port 0 takes any free one")
        ->required()
        ->type_name("[ADDRESS:]PORT");

    const auto connecting = addCommand<ConnectOptions>(
        app, "connect", "Join a port with a TCP server until Ctrl+C, again whenever the connection ends",
        std::string("  portwright connect COM7 --to 192.168.1.20:7000") + kNotes, connect);
    addPort(connecting.line, connecting.options.port);
    connecting.line.add_option("--to", connecting.options.address, "The server")->required()->type_name("HOST:PORT");
}

} // namespace portwright
