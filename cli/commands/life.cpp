// create, delete, rename: which ports there are, and what they are called.
#include "com/failure.h"
#include "com/library.h"
#include "commands/attempts.h"
#include "commands/command.h"
#include "output/console.h"
#include "output/progress.h"

namespace portwright {
namespace {

struct CreateOptions {
    std::vector<std::string> ports;
    unsigned long count = 1;
};

struct DeleteOptions {
    std::vector<std::string> ports;
    bool all = false;
};

struct RenameOptions {
    std::string port;
    std::string name;
};

// An empty name stands for any free number.
void createAll(const std::vector<std::string>& names) {
    const Library library;
    Progress progress(names.size());
    tryEach(names, [&](const std::string& name) {
        std::string created;
        progress.during("creating " + (name.empty() ? "a port" : name), [&] {
            created = library.create(name.empty() ? std::nullopt : std::optional(name)).name();
        });
        console::print(created + "\n");
    });
}

void create(const CreateOptions& options) {
    createAll(options.ports.empty() ? std::vector<std::string>(options.count) : options.ports);
}

std::vector<std::string> namesOf(const std::vector<Port>& ports) {
    std::vector<std::string> names;
    names.reserve(ports.size());
    for (const auto& port : ports)
        names.push_back(port.name());
    return names;
}

void deletePorts(const DeleteOptions& options) {
    if (options.all == !options.ports.empty())
        throw WrongUse("delete takes either the ports or --all");
    const Library library;
    const auto names = options.all ? namesOf(library.ports()) : options.ports;
    Progress progress(names.size());
    tryEach(names, [&](const std::string& name) {
        bool restart = false;
        progress.during("deleting " + name, [&] { restart = library.port(name).remove(); });
        if (restart)
            console::complain(name + " is deleted; the system asks for a restart.\n");
    });
}

void rename(const RenameOptions& options) {
    if (options.port == options.name)
        throw WrongUse(options.port + " has this name already");
    Library().port(options.port).rename(options.name);
}

} // namespace

void addLifeCommands(CLI::App& app) {
    auto creation = addCommand<CreateOptions>(
        app, "create", "Create ports and print their names",
        "  portwright create                any free number\n"
        "  portwright create COM7 COM8\n"
        "  portwright create --count 10     ten, with any free numbers",
        create);
    const auto names = creation.line.ports(creation.options.ports);
    creation.line.number("--count", creation.options.count, {1, 256}, "How many, instead of names").excludes(names);

    auto deletion = addCommand<DeleteOptions>(
        app, "delete", "Delete ports", "  portwright delete COM7 COM8\n  portwright delete --all", deletePorts);
    deletion.line.ports(deletion.options.ports);
    deletion.line.flag("--all", deletion.options.all, "Every virtual port");

    auto renaming =
        addCommand<RenameOptions>(app, "rename", "Give a port another name", "  portwright rename COM7 COM9", rename);
    renaming.line.port(renaming.options.port);
    renaming.line.port(renaming.options.name, "NEW_NAME", "Its new name");
}

} // namespace portwright
