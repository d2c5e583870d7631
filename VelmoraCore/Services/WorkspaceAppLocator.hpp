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
// CFBundleIdentifier of its Contents/Info.plist (XML or binary). A bundle linked into these folders
// (Homebrew, a build folder) counts where the link lies; its link is read below the root prefix.
// Bundles are not searched for nested apps, links to folders are not followed, and the first bundle
// found for an identifier wins. In live use on a Mac, the system's app registry (LaunchServices) is
// asked for what the folders do not hold.
//
// Linux: desktop entries, matched by name: the entry "org.mozilla.firefox.desktop" is the app with the
// bundle identifier "org.mozilla.firefox" (desktop file ids are reverse-DNS names like bundle ids).
// Searched in ~/.local/share/applications, /usr/local/share/applications, /usr/share/applications and
// the exported entries of Flatpak and Snap. The app's name is the entry's "Name=", else the file name.
//
// A folder that exists but cannot be listed, or an app whose Info.plist cannot be read, leaves the index
// incomplete: an identifier it does not hold is then `unknown`, never `notInstalled`.
//
// The index is not refreshed: make a new locator for a new scan.
class WorkspaceAppLocator final : public AppLocator {
public:
    // `home` is a real path, already below `rootPrefix`.
    WorkspaceAppLocator(std::filesystem::path rootPrefix, std::filesystem::path home, PlatformLayout layout);

    std::optional<LocatedApp> find(std::string_view bundleID) const override;
    AppPresence presence(std::string_view bundleID) const override;

    // The folders searched, in the order in which they take precedence.
    std::vector<std::filesystem::path> searchFolders() const;

private:
    struct Answer {
        AppPresence presence;
        std::optional<LocatedApp> app;
    };
    Answer lookUp(std::string_view bundleID) const;
    void buildIndex() const;
    std::vector<std::string> sortedNames(const std::filesystem::path& folder) const;
    std::optional<std::filesystem::path> linkedFolder(const std::filesystem::path& link) const;
    void indexBundles(const std::filesystem::path& folder, int depth) const;
    void indexDesktopEntries(const std::filesystem::path& folder) const;

    std::filesystem::path rootPrefix_;
    std::filesystem::path home_;
    PlatformLayout layout_;
    mutable std::once_flag built_;
    mutable std::map<std::string, LocatedApp> index_; // lower-cased bundle id → app; written once
    mutable bool complete_ = true;                    // written once, with the index
};

} // namespace velmora
