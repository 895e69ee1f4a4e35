// portwright: virtual COM ports from a command line. A client of the library through its public interfaces alone.
//
// Exit status: 0 done, 1 the system refused, 2 wrong use.
#include "com/failure.h"
#include "com/interrupt.h"
#include "com/library.h"
#include "com/text.h"
#include "com/wine_stub.h"
#include "commands/command.h"
#include "output/console.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <memory>
#include <sstream>

using namespace portwright;

namespace {

void addCommands(CLI::App& app) {
    addListCommands(app);
    addLifeCommands(app);
    addSettingsCommand(app);
    addConnectionCommands(app);
    addPinsCommand(app);
    addWatchCommand(app);
    addRelayCommands(app);
    addRigCommands(app);
    addDoctorCommand(app);
    addInstallCommands(app);
}

// Shows of an option what people must know: the names, what to give, and what is so without it.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override {
        const auto type = option->get_type_name();
        const auto value = option->get_default_str();
        return (type.empty() ? "" : " " + type) + (value.empty() ? "" : " (" + value + ")");
    }
};

// What begins with a slash is a path, not an option.
void setUp(CLI::App& app) {
    app.name("portwright");
    app.allow_windows_style_options(false);
    app.formatter(std::make_shared<HelpFormatter>());
    app.get_formatter()->column_width(28);
    app.set_help_flag("-h,--help", "Say how this is used");
    app.set_version_flag("--version", PORTWRIGHT_VERSION, "Say which version this is");
    app.require_subcommand(1);
    app.footer("Ports are named in any case, or by their number: COM7, com7, 7.\n"
               "Each command explains itself: portwright create --help\n"
               "Exit status: 0 done, 1 the system refused, 2 wrong use");
}

std::string helpOf(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return fmt::format("see: portwright {}--help", commands.empty() ? "" : commands.front()->get_name() + " ");
}

// Help and version go to standard output.
int answer(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
    std::ostringstream output;
    std::ostringstream unused;
    if (app.exit(error, output, unused) == 0) {
        console::print(output.str());
        return kDone;
    }
    const bool noCommand = app.get_subcommands().empty();
    const auto message = noCommand && !arguments.empty() ? "there is no command " + arguments.back()
                         : noCommand                     ? "which command?"
                                                         : error.what();
    return tell(WrongUse(message, helpOf(app)));
}

// CLI11 takes arguments from the last to the first.
std::vector<std::string> argumentsInReverse(int count, wchar_t** arguments) {
    std::vector<std::string> result;
    for (int i = count - 1; i > 0; --i)
        result.push_back(utf8(arguments[i]));
    return result;
}

int run(int count, wchar_t** arguments) {
    CLI::App app("Virtual COM ports: create, set, connect, watch, relay and delete them");
    setUp(app);
    addCommands(app);
    const auto given = argumentsInReverse(count, arguments);
    try {
        interrupt::install();
        auto left = given;
        app.parse(left);
        return kDone;
    } catch (const CLI::ParseError& error) {
        return answer(app, error, given);
    } catch (const WrongUse& error) {
        return tell(WrongUse(error.what(), helpOf(app)));
    }
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    tellMissingFunctionsOfWine();
    try {
        const Apartment apartment;
        return run(count, arguments);
    } catch (const std::exception& error) {
        return tell(error);
    }
}
