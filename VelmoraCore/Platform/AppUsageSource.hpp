// When an app was last opened, as the system's metadata index remembers it. Live on a Mac: Spotlight
// (kMDItemLastUsedDate through MDItem); for a Mac-shaped tree elsewhere: the tree's own "mdls".
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class AppUsageSource {
public:
    virtual ~AppUsageSource() = default;
    // The last use of the app bundle; nothing when the index has no date for it (never opened, not
    // indexed). An error (German text) when the answer could not be read at all. Thread-safe.
    virtual std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
    lastUsed(const std::filesystem::path& bundle, StopToken stop) const = 0;
};

// Asks `mdls -raw -name kMDItemLastUsedDate <bundle>` at `mdls` (a path the caller located).
class MdlsAppUsage final : public AppUsageSource {
public:
    MdlsAppUsage(std::shared_ptr<CommandRunner> runner, std::filesystem::path mdls)
        : runner_(std::move(runner)), mdls_(std::move(mdls)) {}

    std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
    lastUsed(const std::filesystem::path& bundle, StopToken stop) const override;

    // "2024-05-01 10:22:33 +0000" (any offset); "(null)" is no date. Nothing else is accepted.
    static std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
    parse(std::string_view output);

private:
    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path mdls_;
};

#ifdef __APPLE__
// Spotlight through CoreServices, without starting a process per app.
std::shared_ptr<const AppUsageSource> spotlightAppUsage();
#endif

} // namespace velmora
