#include "output/json.h"

#include "output/console.h"

namespace portwright {
namespace {

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

} // namespace

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

void printJson(const Json& value, bool onOneLine) {
    // A name that is no Unicode text is printed with replacement characters.
    console::print(value.dump(onOneLine ? -1 : 2, ' ', false, Json::error_handler_t::replace) + "\n");
}

} // namespace portwright
