// set: the settings of ports.
#include "commands/command.h"

namespace portwright {
namespace {

struct SetOptions {
    std::vector<std::string> ports;
    std::optional<bool> enabled;
    std::optional<bool> txOverflow;
    std::optional<double> crossover;
};

void apply(const SetOptions& options, const Port& port) {
    if (options.enabled)
        port.enable(*options.enabled);
    if (options.txOverflow)
        port.emulateTxOverflow(*options.txOverflow);
    if (options.crossover)
        port.setCrossoverProbability(*options.crossover);
}

void set(const SetOptions& options) {
    if (!options.enabled && !options.txOverflow && !options.crossover)
        throw WrongUse("set takes at least one of --enabled, --crossover, --tx-overflow");
    const Library library;
    tryEach(options.ports, [&](const std::string& name) { apply(options, library.port(name)); });
}

} // namespace

void addSettingsCommand(CLI::App& app) {
    const auto [line, options] = addCommand<SetOptions>(
        app, "set", "Change settings of ports",
        "  portwright set COM7 --enabled off\n"
        "  portwright set COM7 COM8 --crossover 0.01 --tx-overflow on",
        set);
    addPorts(line, options.ports)->required();
    addSwitch(line, "--enabled", options.enabled, "Whether the port is there for other programs");
    line.add_option("--crossover", options.crossover, "Probability that a received bit flips, in steps of 0.001")
        ->check(CLI::Range(0.0, 0.5).description(""))
        ->type_name("0..0.5");
    addSwitch(line, "--tx-overflow", options.txOverflow, "Whether what nobody receives is dropped");
}

} // namespace portwright
