// A rig file: which ports a machine has, how each is set, and what is joined with what. docs/portwright.md describes
// it.
#pragma once

#include "com/port.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace portwright {

// What is left out stays as it is.
struct RigPort {
    std::string name;
    std::optional<bool> enabled;
    std::optional<bool> emulateTxOverflow;
    std::optional<double> crossoverProbability;
    std::optional<std::string> securityDescriptor;
};

struct RigBridge {
    std::string pair;
    bool permanent;
};

struct RigRemoteBridge {
    RemoteEnd end; // without the password
    bool permanent;
};

struct RigPipe {
    std::string name;
};

struct RigFiles {
    std::string input;
    std::string output;
    FileCreationMode creation;
};

struct RigConnection {
    std::string port;
    std::variant<RigBridge, RigRemoteBridge, RigPipe, RigFiles> end;
};

struct Rig {
    std::vector<RigPort> ports;
    std::optional<std::vector<RigConnection>> connections; // none: they stay as they are
};

// Throws WrongUse for what is no rig, and for one that contradicts itself.
Rig parseRig(const std::string& text);

} // namespace portwright
