// When a background service starts: at login (or kept alive), on a schedule, or only when asked for.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class StartKind { atLogin, scheduled, onDemand };

inline constexpr std::array<StartKind, 3> allStartKinds{StartKind::atLogin, StartKind::scheduled,
                                                        StartKind::onDemand};

constexpr std::string_view rawValue(StartKind kind) {
    switch (kind) {
    case StartKind::atLogin:
        return "atLogin";
    case StartKind::scheduled:
        return "scheduled";
    case StartKind::onDemand:
        return "onDemand";
    }
    return {};
}

constexpr std::string_view title(StartKind kind) {
    switch (kind) {
    case StartKind::atLogin:
        return "startet bei der Anmeldung";
    case StartKind::scheduled:
        return "startet zeitgesteuert";
    case StartKind::onDemand:
        return "startet bei Bedarf";
    }
    return {};
}

constexpr std::optional<StartKind> startKindFromRawValue(std::string_view raw) {
    for (StartKind kind : allStartKinds)
        if (rawValue(kind) == raw)
            return kind;
    return std::nullopt;
}

} // namespace velmora
