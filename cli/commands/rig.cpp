// apply, export: the ports of a machine as a file.
#include "com/failure.h"
#include "com/library.h"
#include "com/text.h"
#include "commands/attempts.h"
#include "commands/command.h"
#include "output/console.h"
#include "output/json.h"
#include "output/progress.h"
#include "rig/plan.h"

#include <array>

namespace portwright {
namespace {

struct ApplyOptions {
    std::string file;
    bool dryRun = false;
    bool prune = false;
};

struct ExportOptions {};

std::string readFile(const std::string& name) {
    const auto asked = "read " + name;
    zorvan::UniqueHandle file;
    auto* const opened = CreateFileW(
        wide(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        throwLastError(asked, "give the path of a rig file; portwright export prints one");
    file = zorvan::UniqueHandle(opened);
    std::string content;
    std::array<char, 4096> block{};
    DWORD count = 0;
    do {
        if (ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &count, nullptr) == FALSE)
            throwLastError(asked);
        content.append(block.data(), count);
    } while (count != 0);
    return content;
}

std::vector<PortState> statesOf(const Library& library) {
    std::vector<PortState> states;
    for (const auto& port : library.ports())
        states.push_back(port.state());
    return states;
}

void runAll(const std::vector<Step>& steps, const Library& library) {
    Progress progress(steps.size());
    Attempts attempts;
    for (const auto& step : steps)
        attempts.run(step.text, [&] {
            progress.during(step.text, [&] { step.run(library); });
            console::print(step.text + "\n");
        });
    attempts.end();
}

void apply(const ApplyOptions& options) {
    const auto rig = parseRig(readFile(options.file));
    const Library library;
    const auto steps = planOf(rig, statesOf(library), options.prune);
    if (steps.empty())
        console::complain("Nothing to do: the ports are as the file describes them.\n");
    else if (options.dryRun)
        for (const auto& step : steps)
            console::print(step.text + "\n");
    else
        runAll(steps, library);
    if (options.dryRun && !steps.empty())
        console::complain("Nothing was changed: this was a dry run.\n");
}

void exportRig(const ExportOptions&) {
    console::print(json::rig(statesOf(Library())));
}

} // namespace

void addRigCommands(CLI::App& app) {
    auto [line, options] = addCommand<ApplyOptions>(
        app, "apply", "Make the ports as a file describes them",
        "  portwright apply rig.json --dry-run    what it would do\n"
        "  portwright apply rig.json --prune      and delete all other ports\n\n"
        "What is so already is left alone. The smallest rig:\n"
        "  {\"ports\": [{\"portName\": \"COM7\"}, {\"portName\": \"COM8\"}],\n"
        "   \"connections\": [{\"portName\": \"COM7\", \"pair\": \"COM8\"}]}",
        apply);
    line.text("FILE", "", options.file, "A file as export prints it").required();
    line.flag("--dry-run", options.dryRun, "Only print what would be done");
    line.flag("--prune", options.prune, "Delete the ports that the file does not have");

    addCommand<ExportOptions>(
        app, "export", "Print the present ports as a file for apply", "  portwright export > rig.json", exportRig);
}

} // namespace portwright
