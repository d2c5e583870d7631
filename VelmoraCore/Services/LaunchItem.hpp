// One background service as the services tab lists it: a launch agent or daemon, or a login item,
// with the app it belongs to, when it starts, and the verdict on whether it is orphaned.
#pragma once

#include "Services/LaunchScope.hpp"
#include "Services/StartKind.hpp"

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct LaunchItem {
    std::string id; // scope raw value, "/", label; unique in one scan
    std::string label;
    LaunchScope scope = LaunchScope::user;
    std::optional<std::filesystem::path> plistURL; // where the file lies (below the root prefix)
    std::optional<std::string> programPath;        // as the plist names it, byte for byte (not always UTF-8)
    std::vector<std::string> associatedBundleIDs;
    std::optional<std::filesystem::path> appURL; // below the root prefix, like plistURL
    StartKind startKind = StartKind::onDemand;
    bool isRunning = false;
    bool isOrphaned = false;
    bool isOwnAgent = false;
    std::string displayName;
    std::string explanation;
    bool hasNoKnownApp = false;
    bool sharesLabelWithKeptService = false;

    bool operator==(const LaunchItem&) const = default;
};

// A name for a service without an app: "com.example.syncHelper-agent" reads "Example Sync Helper Agent".
// The reverse-DNS top-level piece is dropped, the rest is split at dots, dashes, underscores and
// changes of case, and each word starts with a capital.
std::string readableLabel(std::string_view label);

// For the command line's JSON output; field names as in the struct, enumerations by raw value.
void to_json(nlohmann::json& j, const LaunchItem& item);

} // namespace velmora
