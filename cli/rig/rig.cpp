#include "rig/rig.h"

#include "com/failure.h"
#include "com/names.h"
#include "com/text.h"
#include "rig/object_reader.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace portwright {
namespace {

using Json = nlohmann::ordered_json;

RigPort readPort(const Json& json, const std::string& where) {
    ObjectReader reader(json, where);
    RigPort port{
        reader.requiredPort("portName"), reader.flag("enabled"), reader.flag("emulateTxOverflow"),
        reader.number("crossoverProbability"), reader.text("securityDescriptor")};
    if (port.crossoverProbability && !(*port.crossoverProbability >= 0.0 && *port.crossoverProbability <= 0.5))
        reader.fail("crossoverProbability", "is not between 0 and 0.5");
    reader.end();
    return port;
}

RigFiles readFiles(ObjectReader& reader) {
    const auto mode = reader.text("CreateParam").value_or("create-always");
    const auto creation = fileCreationMode(mode);
    if (!creation)
        reader.fail("CreateParam", fmt::format("is none of {}", joined(fileCreationModes(), ", ")));
    return {
        fullPath(reader.requiredText("inputFileName")), fullPath(reader.requiredText("outputFileName")), *creation};
}

RigRemoteBridge readRemoteBridge(ObjectReader& reader) {
    RemoteEnd end{
        reader.requiredText("remoteServer"),
        reader.requiredPort("remotePort"),
        reader.text("Login").value_or(""),
        reader.text("Domain").value_or(""),
        {}};
    return {std::move(end), reader.flag("Permanent").value_or(true)};
}

RigConnection readConnection(const Json& json, const std::string& where) {
    ObjectReader reader(json, where);
    RigConnection connection{reader.requiredPort("portName"), RigPipe{}};
    if (reader.has("pair"))
        connection.end = RigBridge{reader.requiredPort("pair"), reader.flag("Permanent").value_or(true)};
    else if (reader.has("PipeName"))
        connection.end = RigPipe{pipePath(reader.requiredText("PipeName"))};
    else if (reader.has("inputFileName"))
        connection.end = readFiles(reader);
    else if (reader.has("remoteServer"))
        connection.end = readRemoteBridge(reader);
    else
        reader.fail("portName", "has no other end: pair, PipeName, inputFileName or remoteServer");
    reader.end();
    return connection;
}

template <class Read>
auto readAll(const Json* array, const char* name, Read read) {
    std::vector<decltype(read(*array, std::string()))> result;
    if (array != nullptr)
        for (const auto& element : *array)
            result.push_back(read(element, fmt::format("{}[{}]", name, result.size())));
    return result;
}

[[noreturn]] void contradiction(const std::string& what) {
    throw WrongUse("the rig file contradicts itself: " + what);
}

// Who has an end of a connection.
std::vector<std::string> endsOf(const RigConnection& connection) {
    std::vector<std::string> ends{connection.port};
    if (const auto* const bridge = std::get_if<RigBridge>(&connection.end))
        ends.push_back(bridge->pair);
    return ends;
}

void checkConnections(const Rig& rig, const std::set<std::string>& ports) {
    std::set<std::string> joined;
    for (const auto& connection : rig.connections.value_or(std::vector<RigConnection>())) {
        for (const auto& end : endsOf(connection)) {
            if (!ports.contains(end))
                contradiction(end + " is connected, but is not among the ports");
            if (!joined.insert(end).second)
                contradiction(end + " is connected twice");
        }
    }
    for (const auto& port : rig.ports)
        if (port.securityDescriptor && joined.contains(port.name))
            contradiction(port.name + " is connected, so it does not listen with a securityDescriptor");
}

void check(const Rig& rig) {
    std::set<std::string> ports;
    for (const auto& port : rig.ports)
        if (!ports.insert(port.name).second)
            contradiction(port.name + " is among the ports twice");
    checkConnections(rig, ports);
}

Json parse(const std::string& text) try { return Json::parse(text); } catch (const Json::parse_error& error) {
    // Without the library's own number of the error.
    const std::string message = error.what();
    throw WrongUse("the rig file is no JSON:" + message.substr(message.find(']') + 1));
}

} // namespace

Rig parseRig(const std::string& text) {
    const auto json = parse(text);
    ObjectReader reader(json, "");
    Rig rig;
    rig.ports = readAll(reader.array("ports"), "ports", readPort);
    if (const auto* const connections = reader.array("connections"))
        rig.connections = readAll(connections, "connections", readConnection);
    reader.end();
    check(rig);
    return rig;
}

} // namespace portwright
