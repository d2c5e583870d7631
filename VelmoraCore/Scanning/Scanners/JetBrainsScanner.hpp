// Settings, caches, logs and plugin data of JetBrains IDE versions that a newer version of the same
// product has replaced: each update copies the settings into a new "<Product><year>.<n>" folder and
// leaves the old ones behind. One finding per product; the newest version is never offered.
//
// On Linux the cache folder ($XDG_CACHE_HOME/JetBrains) belongs to the catalog's cache row, which
// offers every version's cache there; this scanner leaves it out so nothing is counted twice. The
// settings in ~/.config stay too (the safety guard keeps that folder), so on Linux only the plugins
// and data in ~/.local/share/JetBrains are offered.
#pragma once

#include "Scanning/Scanner.hpp"

#include <optional>
#include <string_view>
#include <utility>

namespace velmora {

class JetBrainsScanner : public Scanner {
public:
    std::string id() const override { return "toolchains.jetbrainsVersions"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Version {
        std::string product;
        std::pair<int, int> number; // 2024.1 → {2024, 1}
    };
    // "IntelliJIdea2024.1" → {"IntelliJIdea", {2024, 1}}; nothing for other names ("Toolbox",
    // "consentOptions").
    static std::optional<Version> version(std::string_view folderName);
};

} // namespace velmora
