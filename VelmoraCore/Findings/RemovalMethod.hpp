// How a finding's selected items are got rid of: Trash, direct deletion, the owning tool's command,
// one administrator script, or not at all (a hint).
#pragma once

#include "Findings/AdminStep.hpp"
#include "Findings/HintAction.hpp"
#include "Findings/ToolCommand.hpp"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace velmora {

// The file-level method that stands behind a tool method. `delete_` carries the raw value "delete".
enum class Fallback { delete_, trash };

constexpr std::string_view rawValue(Fallback f) {
    return f == Fallback::delete_ ? "delete" : "trash";
}

enum class RemovalKind { trash, delete_, tool, admin, hint };

struct RemovalMethod {
    struct Trash {
        bool operator==(const Trash&) const = default;
    };
    struct Delete {
        bool operator==(const Delete&) const = default;
    };
    struct Tool {
        ToolCommand command;
        std::optional<Fallback> fallback;
        bool operator==(const Tool&) const = default;
    };
    struct Admin {
        std::vector<AdminStep> steps;
        bool operator==(const Admin&) const = default;
    };
    struct Hint {
        HintAction action;
        bool operator==(const Hint&) const = default;
    };

    std::variant<Trash, Delete, Tool, Admin, Hint> value;

    bool operator==(const RemovalMethod&) const = default;

    static RemovalMethod trash() { return {Trash{}}; }
    static RemovalMethod deleteDirectly() { return {Delete{}}; }
    static RemovalMethod tool(ToolCommand command, std::optional<Fallback> fallback = std::nullopt) {
        return {Tool{std::move(command), fallback}};
    }
    static RemovalMethod admin(std::vector<AdminStep> steps) { return {Admin{std::move(steps)}}; }
    static RemovalMethod hint(HintAction action) { return {Hint{std::move(action)}}; }

    RemovalKind kind() const { return static_cast<RemovalKind>(value.index()); }

    // The row the removal confirmation shows for this method: the command line for a tool, a fixed
    // text otherwise; a hint is never part of a removal and has none.
    std::optional<std::string> rowText() const;
    // The system symbol drawn beside that row, where there is one.
    std::optional<std::string_view> rowSymbol() const;
};

void to_json(nlohmann::json& j, const Fallback& fallback);
void from_json(const nlohmann::json& j, Fallback& fallback);
void to_json(nlohmann::json& j, const RemovalMethod& method);
void from_json(const nlohmann::json& j, RemovalMethod& method);

} // namespace velmora
