#include "Findings/RemovalMethod.hpp"

#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

static_assert(std::variant_size_v<decltype(RemovalMethod::value)> == 5);

std::optional<std::string> RemovalMethod::rowText() const {
    switch (kind()) {
    case RemovalKind::tool:
        return std::get<Tool>(value).command.commandLine();
    case RemovalKind::trash:
        return "In den Papierkorb";
    case RemovalKind::delete_:
        return "Wird direkt gelöscht – nicht im Papierkorb";
    case RemovalKind::admin:
        return "Braucht dein Admin-Passwort (eine Abfrage)";
    case RemovalKind::hint:
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string_view> RemovalMethod::rowSymbol() const {
    switch (kind()) {
    case RemovalKind::tool:
        return "wrench.and.screwdriver";
    case RemovalKind::delete_:
        return "exclamationmark.octagon";
    default:
        return std::nullopt;
    }
}

void to_json(nlohmann::json& j, const Fallback& fallback) {
    j = {{std::string(rawValue(fallback)), nlohmann::json::object()}};
}

void from_json(const nlohmann::json& j, Fallback& fallback) {
    const auto& name = singleCaseObject(j).begin()->first;
    if (name == "delete")
        fallback = Fallback::delete_;
    else if (name == "trash")
        fallback = Fallback::trash;
    else
        throw JsonDecodingError("Cannot initialize Fallback from invalid String value " + name);
}

void to_json(nlohmann::json& j, const RemovalMethod& method) {
    const auto empty = nlohmann::json::object();
    switch (method.kind()) {
    case RemovalKind::trash:
        j = {{"trash", empty}};
        break;
    case RemovalKind::delete_:
        j = {{"delete", empty}};
        break;
    case RemovalKind::tool: {
        const auto& tool = std::get<RemovalMethod::Tool>(method.value);
        nlohmann::json payload = {{"_0", tool.command}};
        if (tool.fallback)
            payload["fallback"] = *tool.fallback;
        j = {{"tool", payload}};
        break;
    }
    case RemovalKind::admin:
        j = {{"admin", {{"_0", std::get<RemovalMethod::Admin>(method.value).steps}}}};
        break;
    case RemovalKind::hint:
        j = {{"hint", {{"_0", std::get<RemovalMethod::Hint>(method.value).action}}}};
        break;
    }
}

void from_json(const nlohmann::json& j, RemovalMethod& method) {
    const auto& [name, payload] = *singleCaseObject(j).begin();
    if (!payload.is_object())
        throw JsonDecodingError("Expected to decode Dictionary but found another type.");
    if (name == "trash") {
        method = RemovalMethod::trash();
    } else if (name == "delete") {
        method = RemovalMethod::deleteDirectly();
    } else if (name == "tool") {
        RemovalMethod::Tool tool;
        payload.at("_0").get_to(tool.command);
        getOptional(payload, "fallback", tool.fallback);
        method.value = std::move(tool);
    } else if (name == "admin") {
        method = RemovalMethod::admin(payload.at("_0").get<std::vector<AdminStep>>());
    } else if (name == "hint") {
        method = RemovalMethod::hint(payload.at("_0").get<HintAction>());
    } else {
        throw JsonDecodingError("Cannot initialize RemovalMethod from invalid String value " + name);
    }
}

} // namespace velmora
