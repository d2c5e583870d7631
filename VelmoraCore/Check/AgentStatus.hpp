// Whether the launch agent of the automatic check is registered, and what the settings say about it.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class AgentStatus { enabled, requiresApproval, notRegistered, notFound };

inline constexpr std::array<AgentStatus, 4> allAgentStatuses{
    AgentStatus::enabled, AgentStatus::requiresApproval, AgentStatus::notRegistered, AgentStatus::notFound};

constexpr std::string_view rawValue(AgentStatus status) {
    switch (status) {
    case AgentStatus::enabled:
        return "enabled";
    case AgentStatus::requiresApproval:
        return "requiresApproval";
    case AgentStatus::notRegistered:
        return "notRegistered";
    case AgentStatus::notFound:
        return "notFound";
    }
    return {};
}

constexpr std::string_view statusText(AgentStatus status) {
    switch (status) {
    case AgentStatus::enabled:
        return "Angemeldet – der Check läuft automatisch.";
    case AgentStatus::requiresApproval:
        return "Bitte in den Systemeinstellungen unter Anmeldeobjekte erlauben.";
    case AgentStatus::notRegistered:
        return "Nicht angemeldet.";
    case AgentStatus::notFound:
        return "Der Hintergrund-Check ist erst in der signierten App verfügbar.";
    }
    return {};
}

// The button that opens the system's login-items settings, where the user can allow the agent.
constexpr std::optional<std::string_view> actionTitle(AgentStatus status) {
    if (status == AgentStatus::requiresApproval)
        return "In den Systemeinstellungen erlauben";
    return std::nullopt;
}

// Shown when registering the agent for a new schedule failed.
inline constexpr std::string_view scheduleFailureText = "Konnte den automatischen Check nicht anmelden.";

} // namespace velmora
