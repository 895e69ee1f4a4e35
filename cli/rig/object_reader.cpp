#include "rig/object_reader.h"

#include "com/failure.h"
#include "com/port.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

namespace portwright {

ObjectReader::ObjectReader(const nlohmann::ordered_json& object, std::string where)
    : object_(object), where_(std::move(where)) {
    if (!object_.is_object())
        throw WrongUse(fmt::format("the rig file is wrong: {} is no object", where_.empty() ? "it" : where_));
}

std::optional<std::string> ObjectReader::text(const std::string& key) {
    const auto* const value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (!value->is_string())
        fail(key, "is no text");
    return value->get<std::string>();
}

std::optional<bool> ObjectReader::flag(const std::string& key) {
    const auto* const value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (!value->is_boolean())
        fail(key, "is neither true nor false");
    return value->get<bool>();
}

std::optional<double> ObjectReader::number(const std::string& key) {
    const auto* const value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (!value->is_number())
        fail(key, "is no number");
    return value->get<double>();
}

const nlohmann::ordered_json* ObjectReader::array(const std::string& key) {
    const auto* const value = find(key);
    if (value != nullptr && !value->is_array())
        fail(key, "is no array");
    return value;
}

std::string ObjectReader::requiredText(const std::string& key) {
    const auto value = text(key);
    if (!value)
        fail(key, "is missing");
    return *value;
}

std::string ObjectReader::requiredPort(const std::string& key) {
    const auto name = toPortName(requiredText(key));
    if (!name)
        fail(key, "is no port's name, such as COM7");
    return *name;
}

bool ObjectReader::has(const std::string& key) const {
    return object_.contains(key);
}

void ObjectReader::end() const {
    for (const auto& [key, value] : object_.items())
        if (!asked_.contains(key))
            fail(key, "is no key that belongs here");
}

void ObjectReader::fail(const std::string& key, const std::string& what) const {
    throw WrongUse(fmt::format("the rig file is wrong: {}{}{} {}", where_, where_.empty() ? "" : ".", key, what));
}

const nlohmann::ordered_json* ObjectReader::find(const std::string& key) {
    asked_.insert(key);
    const auto found = object_.find(key);
    return found != object_.end() ? &*found : nullptr;
}

} // namespace portwright
