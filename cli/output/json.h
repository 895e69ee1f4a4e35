// The JSON of docs/portwright.md as text: keys are the names of the interface's members.
#pragma once

#include "com/port.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace portwright::json {

std::string port(const PortState& state);
std::string ports(const std::vector<PortState>& states);
// Keys and values, in the same order.
std::vector<std::pair<std::string, std::string>> members(const PortState& state);

// A rig file. Throws Failure when something of it cannot be read.
std::string rig(const std::vector<PortState>& states);

// On one line. Without a mode when the port is gone already.
std::string event(
    const std::string& time, const std::string& event, const std::string& portName,
    const std::optional<std::string>& mode);

} // namespace portwright::json
