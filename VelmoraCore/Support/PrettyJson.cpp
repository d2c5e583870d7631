#include "Support/PrettyJson.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

namespace {

std::string scalarText(const nlohmann::json& value) {
    const auto dumped = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    if (!value.is_string())
        return dumped;
    std::string out;
    out.reserve(dumped.size());
    for (const char c : dumped) {
        if (c == '/')
            out += '\\';
        out += c;
    }
    return out;
}

void write(const nlohmann::json& value, int depth, std::string& out) {
    const std::string inner(static_cast<std::size_t>(depth + 1) * 2, ' ');
    const std::string outer(static_cast<std::size_t>(depth) * 2, ' ');
    if (value.is_array()) {
        out += "[\n";
        if (value.empty())
            out += "\n";
        for (std::size_t i = 0; i < value.size(); ++i) {
            out += inner;
            write(value[i], depth + 1, out);
            out += i + 1 < value.size() ? ",\n" : "\n";
        }
        out += outer + "]";
    } else if (value.is_object()) {
        out += "{\n";
        if (value.empty())
            out += "\n";
        std::size_t i = 0;
        for (const auto& [key, member] : value.items()) {
            out += inner + scalarText(nlohmann::json(key)) + " : ";
            write(member, depth + 1, out);
            out += ++i < value.size() ? ",\n" : "\n";
        }
        out += outer + "}";
    } else {
        out += scalarText(value);
    }
}

} // namespace

std::string prettyJSON(const nlohmann::json& value) {
    std::string out;
    write(value, 0, out);
    return out;
}

} // namespace velmora
