// The live app lookup: an index of the installed apps, built on first use from the usual app folders
// below the root prefix.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Services/AppLocator.hpp"

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora {

// macOS: every ".app" bundle in /Applications, ~/Applications and /System/Applications and in their
// sub-folders (a few levels deep, as installers put suites into folders of their own), keyed by the
// CFBundleIdentifier of its Contents/Info.plist (XML or binary). Bundles are not searched for nested
// apps, symbolic links are not followed, and the first bundle found for an identifier wins.
//
// Linux: desktop entries, matched by name: the entry "org.mozilla.firefox.desktop" is the app with the
// bundle identifier "org.mozilla.firefox" (desktop file ids are reverse-DNS names like bundle ids).
// Searched in ~/.local/share/applications, /usr/local/share/applications, /usr/share/applications and
// the exported entries of Flatpak and Snap. The app's name is the entry's "Name=", else the file name.
//
// The index is not refreshed: make a new locator for a new scan.
class WorkspaceAppLocator final : public AppLocator {
public:
    // `home` is a real path, already below `rootPrefix`.
    WorkspaceAppLocator(std::filesystem::path rootPrefix, std::filesystem::path home, PlatformLayout layout);

    std::optional<LocatedApp> find(std::string_view bundleID) const override;

    // The folders searched, in the order in which they take precedence.
    std::vector<std::filesystem::path> searchFolders() const;

private:
    void buildIndex() const;
    void indexBundles(const std::filesystem::path& folder, int depth) const;
    void indexDesktopEntries(const std::filesystem::path& folder) const;

    std::filesystem::path rootPrefix_;
    std::filesystem::path home_;
    PlatformLayout layout_;
    mutable std::once_flag built_;
    mutable std::map<std::string, LocatedApp> index_; // lower-cased bundle id → app; written once
};

} // namespace velmora
