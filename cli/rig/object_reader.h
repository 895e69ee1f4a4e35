// Reads an object of a rig file key by key, and says where something is wrong.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <set>
#include <string>

namespace portwright {

class ObjectReader {
public:
    // `where` names the object for people, such as "connections[1]". Throws WrongUse when it is no object.
    ObjectReader(const nlohmann::ordered_json& object, std::string where);

    // None when the key is missing. Throws WrongUse when the value is of another type.
    std::optional<std::string> text(const std::string& key);
    std::optional<bool> flag(const std::string& key);
    std::optional<double> number(const std::string& key);
    const nlohmann::ordered_json* array(const std::string& key);

    std::string requiredText(const std::string& key);
    // The name of a port.
    std::string requiredPort(const std::string& key);
    bool has(const std::string& key) const;

    // Throws WrongUse when there is a key that nobody has asked for: it may be mistyped.
    void end() const;
    [[noreturn]] void fail(const std::string& key, const std::string& what) const;

private:
    const nlohmann::ordered_json* find(const std::string& key);

    const nlohmann::ordered_json& object_;
    std::string where_;
    std::set<std::string> asked_;
};

} // namespace portwright
