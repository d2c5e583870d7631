// Settings in the macOS defaults domain "de.tobrenlux.velmora2", read and written through
// /usr/bin/defaults, so that the app and the command line see the same values.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/SettingsStore.hpp"

#include <chrono>
#include <filesystem>
#include <memory>

namespace velmora {

class DefaultsSettingsStore final : public SettingsStore {
public:
    static constexpr std::string_view domain = "de.tobrenlux.velmora2";
    static constexpr std::string_view defaultsTool = "/usr/bin/defaults";
    static constexpr std::chrono::seconds timeout{10};

    DefaultsSettingsStore(std::shared_ptr<CommandRunner> runner, std::filesystem::path defaults)
        : runner_(std::move(runner)), defaults_(std::move(defaults)) {}

    // `defaults read` prints a string as it is and a boolean as 1 or 0; a missing key exits non-zero.
    std::optional<std::string> stringValue(std::string_view key) const override;
    std::optional<bool> boolValue(std::string_view key) const override;
    // `defaults write <domain> <key> -string <value>` / `-bool true|false`.
    std::expected<void, SettingsError> setString(std::string_view key, std::string_view value) override;
    std::expected<void, SettingsError> setBool(std::string_view key, bool value) override;

private:
    std::expected<void, SettingsError> write(std::string_view key, const char* type, std::string_view value);

    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path defaults_;
};

} // namespace velmora
