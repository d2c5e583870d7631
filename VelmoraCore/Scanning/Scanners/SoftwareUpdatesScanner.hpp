// Updates macOS offers but that are not installed yet, as `softwareupdate --list` names them. Only
// the system settings install them (and then clear what they downloaded), so this is a hint.
#pragma once

#include "Scanning/Scanner.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class SoftwareUpdatesScanner : public Scanner {
public:
    std::string id() const override { return "system.softwareUpdates"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Update {
        std::string label;
        std::string title; // the label when no Title line follows
        std::optional<std::string> version;
        std::optional<std::int64_t> bytes; // the download, as the line says it
        bool restart = false;
        bool operator==(const Update&) const = default;
    };
    // The pending updates of the tool's standard output and error together; nothing when that is not
    // what the tool prints.
    static std::optional<std::vector<Update>> updates(std::string_view output);
};

} // namespace velmora
