// bridge, pipe, files, listen, disconnect: what the other end of a port is.
#include "com/failure.h"
#include "com/library.h"
#include "com/names.h"
#include "commands/attempts.h"
#include "commands/command.h"
#include "output/console.h"

#include <fmt/core.h>

namespace portwright {
namespace {

struct BridgeOptions {
    std::string port;
    std::string other;
    bool temporary = false;
    std::string user;
    std::string domain;
};

struct PipeCommandOptions {
    std::string port;
    std::string name;
    bool create = false;
    PipeOptions pipe;
};

struct FilesOptions {
    std::string port;
    std::string input;
    std::string output;
    std::string mode = "create-always";
};

struct ListenOptions {
    std::vector<std::string> ports;
    std::optional<std::string> sddl;
};

struct DisconnectOptions {
    std::vector<std::string> ports;
};

RemoteEnd remoteEnd(const BridgeOptions& options) {
    const auto colon = options.other.find(':');
    const auto port = toPortName(std::string_view(options.other).substr(colon + 1));
    if (!port || colon == 0)
        throw WrongUse(fmt::format("{} is neither a port nor SERVER:PORT, such as SERVER:COM3", options.other));
    return {options.other.substr(0, colon), *port, options.user, options.domain, {}};
}

void bridgeRemotely(const BridgeOptions& options) {
    auto end = remoteEnd(options);
    const auto port = Library().port(options.port);
    if (!end.user.empty())
        end.password = console::readPassword(fmt::format("Password of {} on {}: ", end.user, end.server));
    port.bridge(end, !options.temporary);
    SecureZeroMemory(end.password.data(), end.password.size());
}

void bridge(const BridgeOptions& options) {
    if (options.other.find(':') != std::string::npos) {
        bridgeRemotely(options);
        return;
    }
    const auto other = toPortName(options.other);
    if (!other)
        throw WrongUse(options.other + " is no port: give a name such as COM8, or SERVER:COM3");
    if (*other == options.port)
        throw WrongUse("a bridge joins two ports, not " + *other + " with itself");
    if (!options.user.empty() || !options.domain.empty())
        throw WrongUse("--user and --domain are for a port of another computer, such as SERVER:COM3");
    const Library library;
    library.port(options.port).bridge(library.port(*other), !options.temporary);
}

void pipe(const PipeCommandOptions& options) {
    const auto port = Library().port(options.port);
    const auto name = pipePath(options.name);
    if (options.create)
        port.createPipe(name, options.pipe);
    else
        port.connectToPipe(name);
}

void files(const FilesOptions& options) {
    const auto creation = fileCreationMode(options.mode);
    Library().port(options.port).connectToFiles(fullPath(options.input), fullPath(options.output), *creation);
}

void listen(const ListenOptions& options) {
    const Library library;
    tryEach(options.ports, [&](const std::string& name) { library.port(name).listen(options.sddl); });
}

void disconnect(const DisconnectOptions& options) {
    const Library library;
    tryEach(options.ports, [&](const std::string& name) { library.port(name).disconnect(); });
}

void addBridge(CLI::App& app) {
    auto [line, options] = addCommand<BridgeOptions>(
        app, "bridge", "Join two ports like the two ends of a cable",
        "  portwright bridge COM7 COM8\n"
        "  portwright bridge COM7 SERVER:COM3 --user alice < password.txt\n\n"
        "The other port of this computer is put into listening mode first: what it was connected with ends.",
        bridge);
    line.port(options.port);
    line.text("OTHER", "", options.other, "The other port, or SERVER:PORT of another computer").required();
    line.flag("--temporary", options.temporary, "Do not restore the bridge after the other port's absence");
    const auto user = line.text(
        "--user", "TEXT", options.user,
        "Who asks for the port there; the password is read from the terminal or standard input");
    line.text("--domain", "TEXT", options.domain, "The user's domain").needs(user);
}

void addPipe(CLI::App& app) {
    auto [line, options] = addCommand<PipeCommandOptions>(
        app, "pipe", "Connect a port with a named pipe",
        "  portwright pipe COM7 modem                 the pipe \\\\.\\pipe\\modem, which exists\n"
        "  portwright pipe COM7 modem --create        a new one; a client may come later\n"
        "  portwright pipe COM7 modem --create --instances 1 --input-buffer 4096",
        pipe);
    auto& pipe = options.pipe;
    line.port(options.port);
    line.text("NAME", "", options.name, R"(The pipe's name, with or without \\.\pipe\ in front)").required();
    const auto create = line.flag("--create", options.create, "Create the pipe");
    line.number(
            "--instances", pipe.instances, {1, 255}, "How many instances of the pipe there may be; 255: any number")
        .needs(create);
    line.number("--output-buffer", pipe.outputBufferSize, "In bytes").needs(create);
    line.number("--input-buffer", pipe.inputBufferSize, "In bytes").needs(create);
    line.number("--timeout", pipe.defaultTimeout, "How long clients wait by default, in milliseconds").needs(create);
}

void addFiles(CLI::App& app) {
    auto [line, options] = addCommand<FilesOptions>(
        app, "files", "Let a port receive what one file holds, and send into another",
        "  portwright files COM7 --in request.bin --out reply.bin\n"
        "  portwright files COM7 --in request.bin --out reply.bin --mode create-new",
        files);
    line.port(options.port);
    line.text("--in", "FILE", options.input, "The file that the port receives").required();
    line.text("--out", "FILE", options.output, "The file for what the port sends").required();
    line.word("--mode", fileCreationModes(), options.mode, "How the output file is opened");
}

void addListenAndDisconnect(CLI::App& app) {
    auto listening = addCommand<ListenOptions>(
        app, "listen", "Let ports wait, unconnected, for whoever may connect",
        "  portwright listen COM7\n  portwright listen COM7 --sddl \"D:AR(A;;CC;;;BA)\"   administrators alone",
        listen);
    listening.line.ports(listening.options.ports).required();
    listening.line.text(
        "--sddl", "TEXT", listening.options.sddl, "Who may connect, as a security descriptor; left out: everyone");

    auto disconnecting = addCommand<DisconnectOptions>(
        app, "disconnect", "End the connections of ports", "  portwright disconnect COM7 COM8", disconnect);
    disconnecting.line.ports(disconnecting.options.ports).required();
}

} // namespace

void addConnectionCommands(CLI::App& app) {
    addBridge(app);
    addPipe(app);
    addFiles(app);
    addListenAndDisconnect(app);
}

} // namespace portwright
