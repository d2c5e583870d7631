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

// Whether an app is installed, as far as the locator can tell: `unknown` when part of what it reads
// could not be read (a folder it may not list, an Info.plist it cannot parse), so that the app may well
// be there.
enum class AppPresence { installed, notInstalled, unknown };

// Thread-safe. Never fails: an app that cannot be found is not returned by `find`; whether that proves
// anything is what `presence` says.
class AppLocator {
public:
    virtual ~AppLocator() = default;

    // Bundle identifiers are compared without regard to case, as the system does.
    virtual std::optional<LocatedApp> find(std::string_view bundleID) const = 0;
    virtual AppPresence presence(std::string_view bundleID) const = 0;
};

} // namespace velmora
