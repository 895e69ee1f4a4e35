#include "machine_state.h"

#include <algorithm>
#include <sstream>

namespace zorvan::simulation {

namespace {

auto rest(Machine& machine) {
    return std::tie(machine.processes, machine.portDatabase, machine.registry, machine.dosNames, machine.users);
}

void describeKey(std::ostream& text, const RegistryKey& key) {
    for (const auto& [name, value] : key.values)
        text << describe(name) << " = " << describe(key.text(name)) << "\n";
    for (const auto& [name, subkey] : key.keys) {
        text << describe(name) << " {\n";
        describeKey(text, subkey);
        text << "}\n";
    }
}

void describeNode(std::ostream& text, const DeviceNode& node) {
    constexpr std::uint32_t kWrites = 0x8000; // the access that a request of this code needs
    text << describe(node.instanceId) << " " << describe(node.portName()) << " "
         << describe(node.friendlyName.value_or(L"")) << "\n";
    for (const auto& request : node.driver.requests)
        if ((request.code & kWrites) != 0)
            text << "request " << describe(request.code) << " of " << request.record.size() << " bytes\n";
}

} // namespace

MachineState::MachineState(Machine& machine) : nodes_(machine.plugAndPlay.nodes()), rest_(rest(machine)) {}

void MachineState::restore(Machine& machine) const {
    machine.change([&] {
        auto& nodes = machine.plugAndPlay.nodes();
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(nodes_.size()), nodes.end());
        std::copy(nodes_.begin(), nodes_.end(), nodes.begin());
        rest(machine) = rest_;
    });
}

std::string stateOf(Machine& machine) {
    std::ostringstream text;
    for (const auto& node : machine.plugAndPlay.nodes()) {
        if (node.present)
            describeNode(text, node);
        if (node.present && node.controlPath)
            text << machine.hostOf(node).handles.size() << " handles in the host\n";
    }
    for (const auto number : machine.portDatabase.claimed)
        text << "claimed " << number << "\n";
    for (const auto& [name, target] : machine.dosNames.targets)
        text << "DOS name " << describe(name) << "\n";
    for (const auto* root :
         {&machine.registry.classesRoot, &machine.registry.currentUser, &machine.registry.localMachine})
        describeKey(text << "root\n", *root);
    text << machine.registry.typeLibraries.size() << " type libraries, "
         << machine.registry.typeLibrariesOfUser.size() << " of the user, locale " << GetThreadLocale() << ", "
         << machine.users.actingAs.size() << " threads acting as users";
    return text.str();
}

} // namespace zorvan::simulation
