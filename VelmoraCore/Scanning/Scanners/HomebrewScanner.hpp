// What Homebrew itself would clear away: old versions and downloads (`brew cleanup --prune=all`), and
// dependencies that no installed formula needs any more (`brew autoremove`). Both lists come from the
// commands' dry runs, so the finding shows exactly what the command will remove.
#pragma once

#include "Scanning/Scanner.hpp"

#include <filesystem>
#include <string_view>

namespace velmora {

class HomebrewScanner : public Scanner {
public:
    std::string id() const override { return "brew.cleanup"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // The paths of the "Would remove: <path> (<size>)" lines, in order; nothing when such a line
    // names no absolute path.
    static std::optional<std::vector<std::filesystem::path>> cleanupPaths(std::string_view output);
    // The formulae listed under "==> Would autoremove N unneeded formulae:"; nothing when the header
    // promises another number of names than follow it.
    static std::optional<std::vector<std::string>> autoremoveNames(std::string_view output);
};

} // namespace velmora
