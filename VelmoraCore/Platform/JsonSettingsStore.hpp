// Settings in one JSON object file (the Linux layout: ${XDG_CONFIG_HOME:-~/.config}/velmora2/settings.json),
// replaced atomically on every change.
#pragma once

#include "Platform/SettingsStore.hpp"

#include <filesystem>
#include <mutex>

namespace velmora {

class JsonSettingsStore final : public SettingsStore {
public:
    explicit JsonSettingsStore(std::filesystem::path file) : file_(std::move(file)) {}
    // <configFolder>/velmora2/settings.json
    static std::filesystem::path defaultFile(const std::filesystem::path& configFolder);

    const std::filesystem::path& file() const { return file_; }
    // settings.json.bad, where a file that is not a settings object is set aside before the first change.
    std::filesystem::path quarantineFile() const;

    std::optional<std::string> stringValue(std::string_view key) const override;
    std::optional<bool> boolValue(std::string_view key) const override;
    std::expected<void, SettingsError> setString(std::string_view key, std::string_view value) override;
    std::expected<void, SettingsError> setBool(std::string_view key, bool value) override;

private:
    template <typename Value> std::expected<void, SettingsError> set(std::string_view key, Value value);

    std::filesystem::path file_;
    mutable std::mutex mutex_;
};

} // namespace velmora
