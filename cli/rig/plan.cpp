#include "rig/plan.h"

#include "com/names.h"
#include "output/console.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace portwright {
namespace {

using States = std::map<std::string, PortState>;

const char* onOff(bool value) {
    return value ? "on" : "off";
}

const char* temporarily(bool permanent) {
    return permanent ? "" : " --temporary";
}

// As createDevice leaves a port.
PortState newPort(const std::string& name) {
    PortState state;
    state.portName = name;
    state.mode = VSDM_Listening;
    state.enabled = true;
    state.securityDescriptor = "";
    return state;
}

bool sameProbability(double wanted, double present) {
    return std::floor(wanted * kProbabilitySteps) == std::round(present * kProbabilitySteps);
}

// Whether a port is joined as the rig says.
struct IsJoined {
    const PortState& state;

    bool operator()(const RigBridge& bridge) const { return state.pair == bridge.pair; }
    bool operator()(const RigRemoteBridge& bridge) const {
        return !state.pair && sameName(state.remoteServer.value_or(""), bridge.end.server) &&
               sameName(state.remotePort.value_or(""), bridge.end.port);
    }
    bool operator()(const RigPipe& pipe) const { return sameName(state.pipeName.value_or(""), pipe.name); }
    // The library names files without their drive.
    bool operator()(const RigFiles& files) const {
        return sameName(state.inputFileName.value_or(""), withoutDrive(files.input)) &&
               sameName(state.outputFileName.value_or(""), withoutDrive(files.output));
    }
};

// How a port is joined.
struct Join {
    std::string port;

    Step operator()(const RigBridge& bridge) const {
        return {
            fmt::format("bridge {} {}{}", port, bridge.pair, temporarily(bridge.permanent)),
            [name = port, bridge](const Library& library) {
                library.port(name).bridge(library.port(bridge.pair), bridge.permanent);
            }};
    }
    Step operator()(const RigRemoteBridge& bridge) const {
        const auto& end = bridge.end;
        const auto user = end.user.empty() ? "" : " --user " + end.user;
        return {
            fmt::format("bridge {} {}:{}{}{}", port, end.server, end.port, user, temporarily(bridge.permanent)),
            [name = port, bridge](const Library& library) {
                auto credentials = bridge.end;
                if (!credentials.user.empty())
                    credentials.password = console::readPassword(
                        fmt::format("Password of {} on {}: ", credentials.user, credentials.server));
                library.port(name).bridge(credentials, bridge.permanent);
                SecureZeroMemory(credentials.password.data(), credentials.password.size());
            }};
    }
    Step operator()(const RigPipe& pipe) const {
        return {fmt::format("pipe {} {}", port, pipe.name), [name = port, pipe](const Library& library) {
                    library.port(name).joinPipe(pipe.name);
                }};
    }
    Step operator()(const RigFiles& files) const {
        const auto mode = fileCreationModes().at(static_cast<std::size_t>(files.creation - CTF_CreateNew));
        return {
            fmt::format("files {} --in {} --out {} --mode {}", port, files.input, files.output, mode),
            [name = port, files](const Library& library) {
                library.port(name).connectToFiles(files.input, files.output, files.creation);
            }};
    }
};

class Planner {
public:
    Planner(const Rig& rig, const std::vector<PortState>& present) : rig_(rig) {
        for (const auto& state : present)
            states_[state.portName] = state;
    }

    // What takes something away comes first: it may hold what another port is to have.
    std::vector<Step> plan(bool prune) {
        if (prune)
            deleteOthers();
        createMissing();
        for (const auto& port : rig_.ports)
            planSettings(port);
        if (rig_.connections)
            disconnectOthers();
        for (const auto& port : rig_.ports)
            planListening(port);
        for (const auto& connection : rig_.connections.value_or(std::vector<RigConnection>()))
            if (!std::visit(IsJoined{states_.at(connection.port)}, connection.end))
                steps_.push_back(std::visit(Join{connection.port}, connection.end));
        return std::move(steps_);
    }

private:
    void add(std::string text, const std::string& port, std::function<void(const Port&)> action) {
        steps_.push_back({std::move(text), [port, action = std::move(action)](const Library& library) {
                              action(library.port(port));
                          }});
    }

    bool isWanted(const std::string& name) const {
        return std::any_of(
            rig_.ports.begin(), rig_.ports.end(), [&](const RigPort& port) { return port.name == name; });
    }

    void deleteOthers() {
        for (const auto& [name, state] : states_)
            if (!isWanted(name))
                add("delete " + name, name, [](const Port& port) { port.remove(); });
    }

    void createMissing() {
        for (const auto& port : rig_.ports)
            if (states_.try_emplace(port.name, newPort(port.name)).second)
                steps_.push_back(
                    {"create " + port.name, [name = port.name](const Library& library) { library.create(name); }});
    }

    void planSettings(const RigPort& wanted) {
        const auto& state = states_.at(wanted.name);
        if (const auto value = wanted.enabled; value && *value != state.enabled)
            add(fmt::format("set {} --enabled {}", wanted.name, onOff(*value)), wanted.name,
                [value](const Port& port) { port.enable(*value); });
        if (const auto value = wanted.emulateTxOverflow; value && *value != state.emulateTxOverflow)
            add(fmt::format("set {} --tx-overflow {}", wanted.name, onOff(*value)), wanted.name,
                [value](const Port& port) { port.emulateTxOverflow(*value); });
        if (const auto value = wanted.crossoverProbability;
            value && !sameProbability(*value, state.crossoverProbability))
            add(fmt::format("set {} --crossover {}", wanted.name, *value), wanted.name,
                [value](const Port& port) { port.setCrossoverProbability(*value); });
    }

    bool isToBeJoined(const std::string& name) const {
        return std::any_of(rig_.connections->begin(), rig_.connections->end(), [&](const RigConnection& connection) {
            const auto* const bridge = std::get_if<RigBridge>(&connection.end);
            return connection.port == name || (bridge != nullptr && bridge->pair == name);
        });
    }

    // One end of a bridge is enough.
    void disconnectOthers() {
        std::set<std::string> done;
        for (const auto& port : rig_.ports) {
            auto& state = states_.at(port.name);
            if (state.mode == VSDM_Listening || state.mode == VSDM_Broken || isToBeJoined(port.name))
                continue;
            if (!done.contains(state.pair.value_or("")))
                add("disconnect " + port.name, port.name, [](const Port& joined) { joined.disconnect(); });
            done.insert(port.name);
            state.mode = VSDM_Listening;
        }
    }

    void planListening(const RigPort& wanted) {
        const auto& state = states_.at(wanted.name);
        const auto& text = wanted.securityDescriptor;
        if (text && (state.mode != VSDM_Listening || state.securityDescriptor != text))
            add(fmt::format("listen {} --sddl \"{}\"", wanted.name, *text), wanted.name,
                [text](const Port& port) { port.listen(text); });
    }

    const Rig& rig_;
    States states_;
    std::vector<Step> steps_;
};

} // namespace

std::vector<Step> planOf(const Rig& rig, const std::vector<PortState>& present, bool prune) {
    return Planner(rig, present).plan(prune);
}

} // namespace portwright
