// What the commands share. Each group of commands has a file of its own, which adds them to the command line.
#pragma once

#include "com/failure.h"
#include "com/library.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace portwright {

void addListCommands(CLI::App& app);
void addLifeCommands(CLI::App& app);
void addSettingsCommand(CLI::App& app);
void addConnectionCommands(CLI::App& app);
void addPinsCommand(CLI::App& app);
void addWatchCommand(CLI::App& app);
void addRelayCommands(CLI::App& app);
void addRigCommands(CLI::App& app);
void addDoctorCommand(CLI::App& app);
void addInstallCommands(CLI::App& app);

// A command with its options bound to a record that lives as long as the command line. `run` is called when the
// command was given.
template <class Options>
struct Command {
    CLI::App& line;
    Options& options;
};

// The examples stand at the end of the help.
template <class Options>
Command<Options> addCommand(
    CLI::App& app, const std::string& name, const std::string& summary, const std::string& examples,
    void (*run)(const Options&)) {
    auto* const line = app.add_subcommand(name, summary);
    const auto options = std::make_shared<Options>();
    line->footer("Examples:\n" + examples);
    line->callback([run, options] { run(*options); });
    return {*line, *options};
}

// A required port: its name in any case, or its number.
void addPort(CLI::App& line, std::string& port, const char* name = "PORT", const char* description = "The port");
// Any number of ports.
CLI::Option* addPorts(CLI::App& line, std::vector<std::string>& ports);
// "on" or "off".
void addSwitch(CLI::App& line, const char* name, std::optional<bool>& value, const char* description);

// Several things are tried one after the other, whatever becomes of the former.
class Attempts {
public:
    // Tells what fails. After Ctrl+C nothing more is begun: throws.
    void run(const std::string& what, const std::function<void()>& action);
    // Throws AlreadyTold when anything has failed.
    void end() const;

private:
    bool failed_ = false;
};

void tryEach(const std::vector<std::string>& names, const std::function<void(const std::string&)>& action);

} // namespace portwright
