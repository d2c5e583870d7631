// What deleted apps left behind. macOS: entries in the usual ~/Library folders named after a bundle
// identifier that no installed app (nor a part of one) and no running process has; Linux: the data of
// Flatpaks and snaps that are no longer installed. One finding per identifier, one item per entry.
// Only names that are identifiers by form count; Apple's never do, and what a catalog row takes is left
// to the row.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class AppLeftoversScanner : public Scanner {
public:
    std::string id() const override { return "apps.leftovers"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

private:
    std::expected<std::vector<Finding>, ScanError> scanMac(const ScanContext& context, StopToken stop);
    std::expected<std::vector<Finding>, ScanError> scanLinux(const ScanContext& context, StopToken stop);
};

} // namespace velmora
