// What the groups of commands are declared with. Each has a file of its own, which adds it to the command line.
//
// CLI11 stands behind this: its header takes a compiler longer than all that the commands do.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

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

// An option that was added, or a positional argument. Referred to by others only while the command is declared.
class Option {
public:
    explicit Option(CLI::Option& option) : option_(option) {}

    Option& required();
    Option& needs(const Option& other);
    Option& excludes(const Option& other);

private:
    CLI::Option& option_;
};

struct Range {
    double lowest;
    double highest;
};

// The command line of one command. What is added is bound to a value that outlives it. A name without dashes is that
// of an argument; `type` is what the help shows behind the name.
class CommandLine {
public:
    explicit CommandLine(CLI::App& line) : line_(line) {}

    // A required port: its name in any case, or its number.
    void port(std::string& value, const char* name = "PORT", const char* description = "The port");
    // Any number of ports.
    Option ports(std::vector<std::string>& values);

    Option flag(const char* name, bool& value, const char* description);
    // "on" or "off".
    Option onOff(const char* name, std::optional<bool>& value, const char* description);
    Option text(const char* name, const char* type, std::string& value, const char* description);
    Option text(const char* name, const char* type, std::optional<std::string>& value, const char* description);
    Option texts(const char* name, std::vector<std::string>& values, const char* description);
    // One of several words. The help shows them, and the value as the default.
    Option word(const char* name, const std::vector<std::string>& words, std::string& value, const char* description);
    Option number(const char* name, unsigned long& value, const char* description);
    Option number(const char* name, unsigned long& value, Range range, const char* description);
    Option
    number(const char* name, const char* type, std::optional<double>& value, Range range, const char* description);

private:
    CLI::App& line_;
};

// The examples stand at the end of the help.
CommandLine addLine(
    CLI::App& app, const std::string& name, const std::string& summary, const std::string& examples,
    std::function<void()> run);

// A command with its options bound to a record that lives as long as the command line. `run` is called when the
// command was given.
template <class Options>
struct Command {
    CommandLine line;
    Options& options;
};

template <class Options>
Command<Options> addCommand(
    CLI::App& app, const std::string& name, const std::string& summary, const std::string& examples,
    void (*run)(const Options&)) {
    const auto options = std::make_shared<Options>();
    return {addLine(app, name, summary, examples, [run, options] { run(*options); }), *options};
}

} // namespace portwright
