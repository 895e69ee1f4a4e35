// bridge, pipe, files, listen, disconnect: what the other end of a port is.
#include "com/names.h"
#include "commands/command.h"
#include "output/console.h"

#include <fmt/format.h>

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
    const auto [line, options] = addCommand<BridgeOptions>(
        app, "bridge", "Join two ports like the two ends of a cable",
        "  portwright bridge COM7 COM8\n"
        "  portwright bridge COM7 SERVER:COM3 --user alice < password.txt\n\n"
        "The other port of this computer is put into listening mode first: what it was connected with ends.",
        bridge);
    addPort(line, options.port);
    line.add_option("OTHER", options.other, "The other port, or SERVER:PORT of another computer")
        ->required()
        ->type_name("");
    line.add_flag("--temporary", options.temporary, "Do not restore the bridge after the other port's absence");
    line.add_option(
        "--user", options.user,
        "Who asks for the port there; the password is read from the terminal or standard input");
    line.add_option("--domain", options.domain, "The user's domain")->needs("--user");
}

void addPipe(CLI::App& app) {
    const auto [line, options] = addCommand<PipeCommandOptions>(
        app, "pipe", "Connect a port with a named pipe",
        "  portwright pipe COM7 modem                 the pipe \\\\.\\pipe\\modem, which exists\n"
        "  portwright pipe COM7 modem --create        a new one; a client may come later\n"
        "  portwright pipe COM7 modem --create --instances 1 --input-buffer 4096",
        pipe);
    addPort(line, options.port);
    line.add_option("NAME", options.name, R"(The pipe's name, with or without \\.\pipe\ in front)")
        ->required()
        ->type_name("");
    auto* const create = line.add_flag("--create", options.create, "Create the pipe");
    auto& pipe = options.pipe;
    line.add_option("--instances", pipe.instances, "How many instances of the pipe there may be; 255: any number")
        ->check(CLI::Range(1, 255).description(""))
        ->type_name("N")
        ->needs(create);
    line.add_option("--output-buffer", pipe.outputBufferSize, "In bytes")->type_name("N")->needs(create);
    line.add_option("--input-buffer", pipe.inputBufferSize, "In bytes")->type_name("N")->needs(create);
    line.add_option("--timeout", pipe.defaultTimeout, "How long clients wait by default, in milliseconds")
        ->type_name("N")
        ->needs(create);
}

void addFiles(CLI::App& app) {
    const auto [line, options] = addCommand<FilesOptions>(
        app, "files", "Let a port receive what one file holds, and send into another",
        "  portwright files COM7 --in request.bin --out reply.bin\n"
        "  portwright files COM7 --in request.bin --out reply.bin --mode create-new",
        files);
    addPort(line, options.port);
    line.add_option("--in", options.input, "The file that the port receives")->required()->type_name("FILE");
    line.add_option("--out", options.output, "The file for what the port sends")->required()->type_name("FILE");
    line.add_option("--mode", options.mode, "How the output file is opened")
        ->check(CLI::IsMember(fileCreationModes()).description(""))
        ->type_name("create-new|create-always|open-existing|open-always|truncate-existing")
        ->capture_default_str();
}

void addListenAndDisconnect(CLI::App& app) {
    const auto listening = addCommand<ListenOptions>(
        app, "listen", "Let ports wait, unconnected, for whoever may connect",
        "  portwright listen COM7\n  portwright listen COM7 --sddl \"D:AR(A;;CC;;;BA)\"   administrators alone",
        listen);
    addPorts(listening.line, listening.options.ports)->required();
    listening.line.add_option(
        "--sddl", listening.options.sddl, "Who may connect, as a security descriptor; left out: everyone");

    const auto disconnecting = addCommand<DisconnectOptions>(
        app, "disconnect", "End the connections of ports", "  portwright disconnect COM7 COM8", disconnect);
    addPorts(disconnecting.line, disconnecting.options.ports)->required();
}

} // namespace

void addConnectionCommands(CLI::App& app) {
    addBridge(app);
    addPipe(app);
    addFiles(app);
    addListenAndDisconnect(app);
}

} // namespace portwright
