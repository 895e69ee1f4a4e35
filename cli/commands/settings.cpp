// set: the settings of ports.
#include "com/failure.h"
#include "com/library.h"
#include "commands/attempts.h"
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
    auto [line, options] = addCommand<SetOptions>(
        app, "set", "Change settings of ports",
        "  portwright set COM7 --enabled off\n"
        "  portwright set COM7 COM8 --crossover 0.01 --tx-overflow on",
        set);
    line.ports(options.ports).required();
    line.onOff("--enabled", options.enabled, "Whether the port is there for other programs");
    line.number(
        "--crossover", "0..0.5", options.crossover, {0.0, 0.5},
        "Probability that a received bit flips, in steps of 0.001");
    line.onOff("--tx-overflow", options.txOverflow, "Whether what nobody receives is dropped");
}

} // namespace portwright
