// The safety guard's answer about one path: allowed, or denied with the German reason the user sees
// next to the item.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace velmora {

namespace SafetyReason {
inline constexpr std::string_view invalidConfiguration =
    "Ungültige Sicherheitskonfiguration – es wird nichts angefasst";
inline constexpr std::string_view outsideAllowedFolders = "Liegt außerhalb der erlaubten Ordner";
inline constexpr std::string_view unresolvable = "Pfad lässt sich nicht sicher auflösen";
inline constexpr std::string_view symlinkLeadsOut = "Symlink zeigt aus dem erlaubten Ordner heraus";
inline constexpr std::string_view homebrewOnly = "Nur über Homebrew entfernbar";
inline constexpr std::string_view simctlOnly = "Nur über simctl entfernbar";
inline constexpr std::string_view systemFolder = "Geschützter Systemordner";
inline constexpr std::string_view personalFolder = "Persönlicher Ordner – wird nie angefasst";
inline constexpr std::string_view credentials = "Zugangsdaten werden nie angefasst";
inline constexpr std::string_view photoLibrary = "Fotos-Mediathek wird nie angefasst";
} // namespace SafetyReason

struct SafetyVerdict {
    struct Denied {
        std::string reason;
        bool operator==(const Denied&) const = default;
    };
    struct Allowed {
        bool operator==(const Allowed&) const = default;
    };

    std::variant<Denied, Allowed> value;

    static SafetyVerdict allowed() { return {Allowed{}}; }
    static SafetyVerdict denied(std::string reason) { return {Denied{std::move(reason)}}; }
    // The guard's check answers with a reason for a denial and with nothing for allowed.
    static SafetyVerdict fromReason(std::optional<std::string> reason) {
        return reason ? denied(std::move(*reason)) : allowed();
    }

    bool isAllowed() const { return std::holds_alternative<Allowed>(value); }
    // The reason of a denial; nothing when allowed.
    std::optional<std::string> reason() const {
        if (const auto* denial = std::get_if<Denied>(&value))
            return denial->reason;
        return std::nullopt;
    }

    bool operator==(const SafetyVerdict&) const = default;
};

} // namespace velmora
