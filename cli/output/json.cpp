#include "output/json.h"

#include "com/failure.h"
#include "com/names.h"

#include <nlohmann/json.hpp>

#include <set>

namespace portwright::json {
namespace {

// Keeps the order of the keys, so that the same state prints the same text.
using Json = nlohmann::ordered_json;

Json orNull(const std::optional<std::string>& text) {
    return text ? Json(*text) : Json();
}

// Which keys there are depends on the mode alone; what cannot be read is null.
Json connectionKeys(const PortState& state) {
    switch (state.mode) {
    case VSDM_Pipe:
        return {{"PipeName", orNull(state.pipeName)}};
    case VSDM_Bridge:
        return {
            {"pair", orNull(state.pair)},
            {"remoteServer", orNull(state.remoteServer)},
            {"remotePort", orNull(state.remotePort)}};
    case VSDM_Handles:
        return {{"inputFileName", orNull(state.inputFileName)}, {"outputFileName", orNull(state.outputFileName)}};
    case VSDM_Listening:
        return {{"securityDescriptor", orNull(state.securityDescriptor)}};
    default:
        return Json::object();
    }
}

Json toJson(const PortState& state) {
    Json json{
        {"portName", state.portName},
        {"mode", modeInWords(state.mode)},
        {"enabled", state.enabled},
        {"path", state.path},
        {"connections", state.connections},
        {"bytesSent", state.bytesSent},
        {"bytesReceived", state.bytesReceived},
        {"emulateTxOverflow", state.emulateTxOverflow},
        {"crossoverProbability", state.crossoverProbability}};
    json.update(connectionKeys(state));
    return json;
}

// What of it can be set.
Json settingsToJson(const PortState& state) {
    Json json{
        {"portName", state.portName},
        {"enabled", state.enabled},
        {"emulateTxOverflow", state.emulateTxOverflow},
        {"crossoverProbability", state.crossoverProbability}};
    if (state.mode == VSDM_Listening && !acceptsEveryone(state))
        json["securityDescriptor"] = orNull(state.securityDescriptor);
    return json;
}

// What joins the port with its other end; null when nothing does.
Json connectionToJson(const PortState& state) {
    if (state.mode == VSDM_Listening || state.mode == VSDM_Broken)
        return {};
    Json json{{"portName", state.portName}};
    if (state.pair) {
        json["pair"] = *state.pair;
        return json;
    }
    json.update(connectionKeys(state));
    json.erase("pair"); // of a bridge with another computer
    return json;
}

// The library leaves the drives out, without which the files may not be found again.
void addDrives(Json& connection) {
    for (const auto* const key : {"inputFileName", "outputFileName"})
        if (connection.contains(key) && connection[key].is_string())
            connection[key] = withDrive(connection[key].get<std::string>());
}

Json connectionsOf(const std::vector<PortState>& states) {
    auto connections = Json::array();
    std::set<std::string> partners;
    for (const auto& state : states) {
        auto connection = connectionToJson(state);
        if (connection.is_null() || partners.contains(state.portName))
            continue;
        for (const auto& [key, value] : connection.items())
            if (value.is_null())
                throw Failure(
                    "cannot export: " + key + " of " + state.portName + " cannot be read",
                    "run this as an administrator");
        partners.insert(state.pair.value_or(""));
        addDrives(connection);
        connections.push_back(std::move(connection));
    }
    return connections;
}

constexpr int kIndented = 2;
constexpr int kOnOneLine = -1;

// A name that is no Unicode text has replacement characters.
std::string toText(const Json& value, int indentation = kIndented) {
    return value.dump(indentation, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace

std::string port(const PortState& state) {
    return toText(toJson(state));
}

std::string ports(const std::vector<PortState>& states) {
    auto array = Json::array();
    for (const auto& state : states)
        array.push_back(toJson(state));
    return toText(array);
}

std::vector<std::pair<std::string, std::string>> members(const PortState& state) {
    std::vector<std::pair<std::string, std::string>> result;
    const auto json = toJson(state);
    for (const auto& [key, value] : json.items())
        result.emplace_back(key, value.is_string() ? value.get<std::string>() : value.dump());
    return result;
}

std::string rig(const std::vector<PortState>& states) {
    auto ports = Json::array();
    for (const auto& state : states)
        ports.push_back(settingsToJson(state));
    return toText({{"ports", ports}, {"connections", connectionsOf(states)}});
}

std::string event(
    const std::string& time, const std::string& event, const std::string& portName,
    const std::optional<std::string>& mode) {
    Json json{{"time", time}, {"event", event}, {"portName", portName}};
    if (event != "deleted")
        json["mode"] = orNull(mode);
    return toText(json, kOnOneLine);
}

} // namespace portwright::json
