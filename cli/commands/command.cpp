#include "commands/command.h"

#include "com/interrupt.h"

#include <fmt/format.h>

namespace portwright {
namespace {

// Turns what was given into the port's name.
std::string checkPortName(std::string& text) {
    const auto name = toPortName(text);
    if (!name)
        return fmt::format("{} is no port: give a name such as COM7, or a number from 1 to 4096", text);
    text = *name;
    return {};
}

} // namespace

void addPort(CLI::App& line, std::string& port, const char* name, const char* description) {
    line.add_option(name, port, description)->required()->transform(CLI::Validator(checkPortName, ""))->type_name("");
}

CLI::Option* addPorts(CLI::App& line, std::vector<std::string>& ports) {
    return line.add_option("PORT", ports, "The ports")->transform(CLI::Validator(checkPortName, ""))->type_name("");
}

void addSwitch(CLI::App& line, const char* name, std::optional<bool>& value, const char* description) {
    line.add_option_function<std::string>(
            name, [&value](const std::string& text) { value = text == "on"; }, description)
        ->check(CLI::IsMember({"on", "off"}).description(""))
        ->type_name("on|off");
}

void Attempts::run(const std::string& what, const std::function<void()>& action) {
    if (interrupt::requested())
        throw Failure(fmt::format("interrupted before: {}", what), "what was done before stays done");
    try {
        action();
    } catch (const Failure& failure) {
        tell(failure);
        failed_ = true;
    }
}

void Attempts::end() const {
    if (failed_)
        throw AlreadyTold();
}

void tryEach(const std::vector<std::string>& names, const std::function<void(const std::string&)>& action) {
    Attempts attempts;
    for (const auto& name : names)
        attempts.run(name, [&] { action(name); });
    attempts.end();
}

} // namespace portwright
