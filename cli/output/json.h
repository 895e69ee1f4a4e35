// The JSON of docs/portwright.md: keys are the names of the interface's members.
#pragma once

#include "com/port.h"

#include <nlohmann/json.hpp>

namespace portwright {

// Keeps the order of the keys, so that the same state prints the same text.
using Json = nlohmann::ordered_json;

Json toJson(const PortState& state);
// What of it can be set.
Json settingsToJson(const PortState& state);
// What joins the port with its other end; null when nothing does.
Json connectionToJson(const PortState& state);

// On one line for JSON Lines.
void printJson(const Json& value, bool onOneLine = false);

} // namespace portwright
