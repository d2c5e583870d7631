// Small helpers for the optional members of our JSON objects: absent values are left out, and a
// missing or null member reads as absent.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace velmora {

template <typename T> void putOptional(nlohmann::json& j, const char* key, const std::optional<T>& value) {
    if (value)
        j[key] = *value;
}

template <typename T> void getOptional(const nlohmann::json& j, const char* key, std::optional<T>& value) {
    const auto it = j.find(key);
    if (it == j.end() || it->is_null()) {
        value.reset();
        return;
    }
    value = it->template get<T>();
}

} // namespace velmora

#include <stdexcept>

namespace velmora {

// A JSON text that parses but does not have the shape a type needs; what() is the message as is.
struct JsonDecodingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The members of a case object ({"trash": {}}): exactly one is allowed.
inline const nlohmann::json::object_t& singleCaseObject(const nlohmann::json& j) {
    if (!j.is_object())
        throw JsonDecodingError("Expected to decode Dictionary but found another type.");
    const auto& object = j.get_ref<const nlohmann::json::object_t&>();
    if (object.size() != 1)
        throw JsonDecodingError("Invalid number of keys found, expected one.");
    return object;
}

} // namespace velmora
