// What the app scanners share: the installed app bundles (read once per scanner run), the test whether
// a folder name is a bundle identifier, and whether a catalog row already covers a place in the home.
#pragma once

#include "Platform/PlatformLayout.hpp"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ScanContext;

struct InstalledApp {
    std::filesystem::path bundle; // where it lies (below the root prefix)
    std::string bundleID;
    std::string displayName;               // CFBundleDisplayName, else CFBundleName, else the bundle's name
    std::optional<std::string> executable; // CFBundleExecutable
};

struct InstalledApps {
    std::vector<InstalledApp> apps;
    // False when a folder could not be listed or an Info.plist could not be read: an identifier that is
    // missing may then belong to an app all the same.
    bool complete = true;

    // Every ".app" bundle in the folders and in their sub-folders up to three levels (suites keep their
    // apps in a folder of their own); bundles are not searched for nested apps, links are not followed.
    static InstalledApps read(const std::vector<std::filesystem::path>& folders);
    // /Applications, ~/Applications and /System/Applications of the context, read once per scan: the
    // scanners of one scan share the answer (a scan is known by its claims).
    static std::shared_ptr<const InstalledApps> forScan(const ScanContext& context);

    // The app with this identifier (compared without regard to case), else nothing.
    const InstalledApp* find(std::string_view bundleID) const;
    // True when an app has this identifier or the identifier belongs to one of its parts: helpers and
    // extensions are named "<app id>.<part>".
    bool owns(std::string_view bundleID) const;
};

namespace appnames {

// Reverse-DNS form with at least three parts ("com.example.App"): letters, digits, "-" and "_" between
// the dots, no empty part. Loose names ("Google", "Slack") are never taken for one.
bool isBundleID(std::string_view name);
// "com.apple." in any case.
bool isApple(std::string_view bundleID);
// A Group Containers folder "<TEAMID>.<bundle id>" (ten capital letters or digits): the bundle id.
std::optional<std::string> groupContainerID(std::string_view name);
// The first two parts of an identifier ("com.example"), lower-cased.
std::string vendor(std::string_view bundleID);

} // namespace appnames

// How a place in the home relates to the catalog's rows: `within` when it is a row's place or lies inside
// one, `holds` when a row's place lies inside it. Rows match by their patterns, component by component
// (a row's "*" matches an app's folder name). Specific scanners run beside the rows, so claims cannot
// keep them apart: what a row takes must be left to it.
enum class CatalogOverlap { none, within, holds };
CatalogOverlap catalogOverlap(const ScanContext& context, const std::filesystem::path& location);

// `location` itself when no row touches it, nothing when it lies within a row's place, and otherwise the
// parts of it (a few levels down) that no row touches, so that a folder holding a row's place is offered
// without that place.
std::vector<std::filesystem::path> partsOutsideCatalog(const ScanContext& context,
                                                       const std::filesystem::path& location);

// True when the context's safety guard would refuse to touch `location`; without a guard, nothing is
// refused here (callers offering system locations insist on one themselves).
bool guardRefuses(const ScanContext& context, const std::filesystem::path& location);

} // namespace velmora
