#include "commands/command.h"

#include "com/port.h"
#include "com/text.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

namespace portwright {
namespace {

// Turns what was given into the port's name.
std::string checkPortName(std::string& text) {
    const auto name = toPortName(text);
    if (!name)
        return text + " is no port: give a name such as COM7, or a number from 1 to 4096";
    text = *name;
    return {};
}

template <class Value>
CLI::Option* add(CLI::App& line, const char* name, const char* type, Value& value, const char* description) {
    return line.add_option(name, value, description)->type_name(type);
}

// Without a description: the type says it already.
CLI::Validator oneOf(const std::vector<std::string>& words) {
    return CLI::IsMember(words).description("");
}

CLI::Validator within(Range range) {
    const auto check = [range](const std::string& text) {
        double number = 0;
        const bool isWithin =
            CLI::detail::lexical_cast(text, number) && number >= range.lowest && number <= range.highest;
        return isWithin ? "" : fmt::format("{} is not between {} and {}", text, range.lowest, range.highest);
    };
    return {check, ""};
}

} // namespace

Option& Option::required() {
    option_.required();
    return *this;
}

Option& Option::needs(const Option& other) {
    option_.needs(&other.option_);
    return *this;
}

Option& Option::excludes(const Option& other) {
    option_.excludes(&other.option_);
    return *this;
}

void CommandLine::port(std::string& value, const char* name, const char* description) {
    add(line_, name, "", value, description)->required()->transform(CLI::Validator(checkPortName, ""));
}

Option CommandLine::ports(std::vector<std::string>& values) {
    return Option(*add(line_, "PORT", "", values, "The ports")->transform(CLI::Validator(checkPortName, "")));
}

Option CommandLine::flag(const char* name, bool& value, const char* description) {
    return Option(*line_.add_flag(name, value, description));
}

Option CommandLine::onOff(const char* name, std::optional<bool>& value, const char* description) {
    auto* const option = line_.add_option_function<std::string>(
        name, [&value](const std::string& text) { value = text == "on"; }, description);
    return Option(*option->type_name("on|off")->check(oneOf({"on", "off"})));
}

Option CommandLine::text(const char* name, const char* type, std::string& value, const char* description) {
    return Option(*add(line_, name, type, value, description));
}

Option
CommandLine::text(const char* name, const char* type, std::optional<std::string>& value, const char* description) {
    return Option(*add(line_, name, type, value, description));
}

Option CommandLine::texts(const char* name, std::vector<std::string>& values, const char* description) {
    return Option(*add(line_, name, "", values, description));
}

Option CommandLine::word(
    const char* name, const std::vector<std::string>& words, std::string& value, const char* description) {
    auto* const option = add(line_, name, joined(words, "|").c_str(), value, description);
    return Option(*option->check(oneOf(words))->capture_default_str());
}

Option CommandLine::number(const char* name, unsigned long& value, const char* description) {
    return Option(*add(line_, name, "N", value, description));
}

Option CommandLine::number(const char* name, unsigned long& value, Range range, const char* description) {
    return Option(*add(line_, name, "N", value, description)->check(within(range)));
}

Option CommandLine::number(
    const char* name, const char* type, std::optional<double>& value, Range range, const char* description) {
    return Option(*add(line_, name, type, value, description)->check(within(range)));
}

CommandLine addLine(
    CLI::App& app, const std::string& name, const std::string& summary, const std::string& examples,
    std::function<void()> run) {
    auto* const line = app.add_subcommand(name, summary);
    line->footer("Examples:\n" + examples);
    line->callback(std::move(run));
    return CommandLine(*line);
}

} // namespace portwright
