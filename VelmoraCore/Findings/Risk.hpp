// How careful the user should be with a finding; `safe` is what the application preselects.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class Risk { safe, review, hintOnly };

inline constexpr std::array<Risk, 3> allRisks{Risk::safe, Risk::review, Risk::hintOnly};

constexpr std::string_view rawValue(Risk r) {
    switch (r) {
    case Risk::safe:
        return "safe";
    case Risk::review:
        return "review";
    case Risk::hintOnly:
        return "hintOnly";
    }
    return {};
}

constexpr std::string_view label(Risk r) {
    switch (r) {
    case Risk::safe:
        return "Sicher";
    case Risk::review:
        return "Prüfen";
    case Risk::hintOnly:
        return "Nur Hinweis";
    }
    return {};
}

constexpr std::optional<Risk> riskFromRawValue(std::string_view raw) {
    for (Risk r : allRisks)
        if (rawValue(r) == raw)
            return r;
    return std::nullopt;
}

} // namespace velmora
