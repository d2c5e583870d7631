// Apps not opened for 90 days. macOS: the bundles in /Applications and ~/Applications with the date
// Spotlight keeps of their last use; Linux: Flatpak apps (user and system installation) with the latest
// modification of their data folder (and its first level), and AppImages in ~/Applications with their own
// access time. An app whose last use is unknown, that is running, or that comes with the system is never
// offered.
#pragma once

#include "Platform/AppUsageSource.hpp"
#include "Scanning/Scanner.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class UnusedAppsScanner : public Scanner {
public:
    static constexpr int unusedDays = 90;

    // Without a source of its own the scanner asks Spotlight on a Mac and the tree's mdls elsewhere.
    explicit UnusedAppsScanner(std::shared_ptr<const AppUsageSource> usage = nullptr)
        : usage_(std::move(usage)) {}

    std::string id() const override { return "apps.unused"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // From `brew info --json=v2 --cask --installed`: the lower-cased name of every app a cask put in
    // place ("unity hub.app") with the cask's token. Nothing when the text is not that JSON.
    static std::optional<std::map<std::string, std::string>> caskApps(std::string_view json);

private:
    std::expected<std::vector<Finding>, ScanError> scanMac(const ScanContext& context, StopToken stop);
    std::expected<std::vector<Finding>, ScanError> scanLinux(const ScanContext& context, StopToken stop);

    std::shared_ptr<const AppUsageSource> usage_;
};

} // namespace velmora
