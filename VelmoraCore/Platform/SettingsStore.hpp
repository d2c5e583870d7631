// The user's few settings ("dryRun", "checkSchedule"), kept where the platform keeps an app's
// preferences. Live: DefaultsSettingsStore (the macOS defaults domain) and JsonSettingsStore (a JSON
// file under the XDG config folder).
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// The dry-run switch of the app; the schedule's key lives with CheckSchedule.
inline constexpr std::string_view dryRunKey = "dryRun";

struct SettingsError {
    std::string detail; // what failed, in the system's words

    std::string_view message() const { return "Konnte die Einstellung nicht speichern."; }
    bool operator==(const SettingsError&) const = default;
};

// Thread-safe. Every read asks the store afresh, because another process (the app, the scheduled
// check) may have changed it.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;

    // Nothing when the key is absent, unreadable or holds another type.
    virtual std::optional<std::string> stringValue(std::string_view key) const = 0;
    virtual std::optional<bool> boolValue(std::string_view key) const = 0;
    // On failure the stored value is unchanged.
    virtual std::expected<void, SettingsError> setString(std::string_view key, std::string_view value) = 0;
    virtual std::expected<void, SettingsError> setBool(std::string_view key, bool value) = 0;
};

} // namespace velmora
