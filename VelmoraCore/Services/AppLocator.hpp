// Finds the installed app for a bundle identifier. The live implementation is WorkspaceAppLocator.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

struct LocatedApp {
    std::filesystem::path url; // where the app lies on this file system (below the root prefix)
    std::string name;          // the name the user knows it by

    bool operator==(const LocatedApp&) const = default;
};

// Thread-safe. Never fails: an app that cannot be found, for whatever reason, is simply not there –
// callers that decide something from a missing app must treat that as a hint, not a proof.
class AppLocator {
public:
    virtual ~AppLocator() = default;

    // Bundle identifiers are compared without regard to case, as the system does.
    virtual std::optional<LocatedApp> find(std::string_view bundleID) const = 0;
};

} // namespace velmora
