// Where a background service was found: the user's own launch agents, the agents for all users, the
// launch daemons, or the system's list of login items.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class LaunchScope { user, allUsers, system, loginItem };

inline constexpr std::array<LaunchScope, 4> allLaunchScopes{LaunchScope::user, LaunchScope::allUsers,
                                                            LaunchScope::system, LaunchScope::loginItem};

constexpr std::string_view rawValue(LaunchScope scope) {
    switch (scope) {
    case LaunchScope::user:
        return "user";
    case LaunchScope::allUsers:
        return "allUsers";
    case LaunchScope::system:
        return "system";
    case LaunchScope::loginItem:
        return "loginItem";
    }
    return {};
}

// The heading a scope's services are listed under.
constexpr std::string_view title(LaunchScope scope) {
    switch (scope) {
    case LaunchScope::user:
        return "Eigene Agenten";
    case LaunchScope::allUsers:
        return "Agenten für alle Benutzer";
    case LaunchScope::system:
        return "System-Dienste";
    case LaunchScope::loginItem:
        return "Anmeldeobjekte";
    }
    return {};
}

constexpr std::optional<LaunchScope> launchScopeFromRawValue(std::string_view raw) {
    for (LaunchScope scope : allLaunchScopes)
        if (rawValue(scope) == raw)
            return scope;
    return std::nullopt;
}

} // namespace velmora
