// Whether the automatic check may post notifications, and what the settings say about it.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class NotificationAuthorization { notDetermined, denied, authorized };

inline constexpr std::array<NotificationAuthorization, 3> allNotificationAuthorizations{
    NotificationAuthorization::notDetermined, NotificationAuthorization::denied,
    NotificationAuthorization::authorized};

constexpr std::string_view rawValue(NotificationAuthorization authorization) {
    switch (authorization) {
    case NotificationAuthorization::notDetermined:
        return "notDetermined";
    case NotificationAuthorization::denied:
        return "denied";
    case NotificationAuthorization::authorized:
        return "authorized";
    }
    return {};
}

// Nothing when notifications are allowed: then the settings have nothing to explain.
constexpr std::optional<std::string_view> statusText(NotificationAuthorization authorization) {
    switch (authorization) {
    case NotificationAuthorization::notDetermined:
        return "Mitteilungen sind noch nicht erlaubt – sie werden beim Einschalten des Checks erfragt.";
    case NotificationAuthorization::denied:
        return "Mitteilungen sind ausgeschaltet. Ohne sie meldet sich der Check nicht.";
    case NotificationAuthorization::authorized:
        return std::nullopt;
    }
    return std::nullopt;
}

// The button that opens the system's notification settings.
constexpr std::optional<std::string_view> actionTitle(NotificationAuthorization authorization) {
    if (authorization == NotificationAuthorization::denied)
        return "Mitteilungs-Einstellungen öffnen";
    return std::nullopt;
}

} // namespace velmora
