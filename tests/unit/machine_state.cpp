#include "machine_state.h"

#include <algorithm>

namespace zorvan::simulation {

MachineState::MachineState(Machine& machine)
    : nodes_(machine.plugAndPlay.nodes()), processes_(machine.processes), portDatabase_(machine.portDatabase),
      registry_(machine.registry), dosNames_(machine.dosNames), users_(machine.users) {}

void MachineState::restore(Machine& machine) const {
    machine.change([&] {
        auto& nodes = machine.plugAndPlay.nodes();
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(nodes_.size()), nodes.end());
        std::copy(nodes_.begin(), nodes_.end(), nodes.begin());
        machine.processes = processes_;
        machine.portDatabase = portDatabase_;
        machine.registry = registry_;
        machine.dosNames = dosNames_;
        machine.users = users_;
    });
}

namespace {

std::string textOf(const PortState& port) {
    std::string text = "mode " + std::to_string(port.mode) + (port.enabled ? " enabled" : " disabled");
    text += " name " + describe(port.portName) + " sd " + describe(port.securityDescriptor);
    text += " crossover " + std::to_string(port.crossover.enabled) + "/" + std::to_string(port.crossover.value);
    text += " overflow " + std::to_string(port.transmitOverflow.enabled);
    text += port.pipe.pipe != 0 ? " pipe" : " no pipe";
    text += port.files.inputFile != 0 && port.files.outputFile != 0 ? " files" : " no files";
    text += " bridge " + describe(port.remotePort) + "@" + describe(port.remoteServer);
    text += port.permanent ? " permanent pins" : " pins";
    for (const auto entry : port.pins)
        text += " " + std::to_string(entry);
    return text;
}

std::string textOf(const RegistryKey& key, const std::string& path) {
    std::string text = path + "\n";
    for (const auto& [name, value] : key.values)
        text += path + ", " + describe(name) + " = " + describe(key.text(name)) + "\n";
    for (const auto& [name, subkey] : key.keys)
        text += textOf(subkey, path + "\\" + describe(name));
    return text;
}

std::string textOf(const Registry& registry) {
    std::string text = textOf(registry.classesRoot, "HKCR") + textOf(registry.currentUser, "HKCU");
    text += textOf(registry.localMachine, "HKLM");
    for (const auto* libraries : {&registry.typeLibraries, &registry.typeLibrariesOfUser})
        text += std::to_string(libraries->size()) + " type libraries\n";
    return text;
}

} // namespace

std::string stateOf(Machine& machine) {
    std::string text;
    for (const auto& node : machine.plugAndPlay.nodes()) {
        if (!node.present)
            continue;
        text += describe(node.instanceId) + " " + describe(node.portName()) + " \"" +
                describe(node.friendlyName.value_or(L"")) + "\" ";
        if (node.controlPath)
            text += textOf(node.driver.state) + ", " + std::to_string(machine.hostOf(node).handles.size()) +
                    " handles in the host";
        text += "\n";
    }
    for (const auto number : machine.portDatabase.claimed)
        text += "claimed " + std::to_string(number) + "\n";
    for (const auto& [name, target] : machine.dosNames.targets)
        text += "DOS name " + describe(name) + "\n";
    text += textOf(machine.registry);
    text += "locale " + std::to_string(GetThreadLocale()) + ", ";
    text += std::to_string(machine.users.actingAs.size()) + " threads acting as users";
    return text;
}

} // namespace zorvan::simulation
