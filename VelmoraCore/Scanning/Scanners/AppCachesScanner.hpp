// Every app's own cache that no earlier finding took: macOS ~/Library/Caches/<bundle id> (the App
// Store's included, Apple's other ones not), Linux every folder in the user cache folder. One finding per
// app of at least 10 MB, named as the app calls itself; the app blocks removal while it runs.
// Runs after the specific scanners: a folder they took, or that holds something they took, is skipped –
// trashing it whole would take their part along, and what is left beside their part is small.
#pragma once

#include "Scanning/Scanner.hpp"

#include <cstdint>

namespace velmora {

class AppCachesScanner : public Scanner {
public:
    static constexpr std::int64_t minimumBytes = 10'000'000;

    std::string id() const override { return "appCaches.apps"; }
    ScannerPhase phase() const override { return ScannerPhase::collector; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
