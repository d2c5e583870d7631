// Conda's package cache: downloaded package archives, unpacked packages no environment links to any
// more, and the index cache, as `conda clean --all --dry-run --json` lists them.
#pragma once

#include "Scanning/Scanner.hpp"

#include <filesystem>
#include <string_view>

namespace velmora {

class CondaScanner : public Scanner {
public:
    std::string id() const override { return "languages.conda"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Entry {
        std::filesystem::path path;
        std::string_view kind; // shown under the item's name
    };
    // The entries of the dry run's JSON report; nothing when it is not such a report.
    static std::optional<std::vector<Entry>> entries(std::string_view json);
};

} // namespace velmora
