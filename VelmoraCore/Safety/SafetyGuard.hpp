// The last check before anything on disk is touched: a path is allowed only when neither the path
// itself nor the place its symbolic links lead to is protected (home, documents, credentials, photo
// libraries, system folders). Immutable after construction and shared freely between threads.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Platform/XdgUserDirs.hpp"
#include "Safety/SafetyVerdict.hpp"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// The guard works below a root prefix ("/" in live use, a temporary folder in tests): it is built
// with *logical* paths (as seen inside the root, e.g. "/Users/anna") and asked about *real* paths
// (below the root, as scanners report them). Symbolic links are resolved as if the root were "/":
// absolute link targets start at the root and ".." never climbs above it.
class SafetyGuard {
public:
    using Components = std::vector<std::string>;

    struct Setup {
        PlatformLayout layout = PlatformLayout::macOS;
        std::filesystem::path rootPrefix = "/";
        // Logical paths. The cache and temporary folder only matter for the macOS layout; the
        // stand-ins never exist, so their rules never apply.
        std::filesystem::path home;
        std::filesystem::path cache = "/var/empty/velmora-no-cache-dir";
        std::filesystem::path temp = "/var/empty/velmora-no-temp-dir";
        std::vector<std::string> allowedCache = defaultAllowedCache();
        // The localised user folders; only the Linux layout uses them.
        XdgUserDirs userDirs;
    };

    // First-level folders of the private cache folder that may go (compiler and Instruments caches).
    static std::vector<std::string> defaultAllowedCache();

    explicit SafetyGuard(const Setup& setup);

    // The guard for this machine: on a Mac the private cache and temporary folders come from the
    // system; with the Linux layout the user folders come from <home>/.config/user-dirs.dirs.
    static SafetyGuard live(PlatformLayout layout, const std::filesystem::path& rootPrefix,
                            const std::filesystem::path& home);

    // The reason a real path (below the root prefix) must not be touched, or nothing when it may.
    std::optional<std::string> check(const std::filesystem::path& path) const;
    SafetyVerdict verdict(const std::filesystem::path& path) const;
    // The same for a logical path (as seen inside the root); the root prefix is put in front.
    std::optional<std::string> checkLogical(const std::filesystem::path& logicalPath) const;

    // Lexical normalisation: empty and "." components dropped, ".." removes the previous one (never
    // climbing above the top), and with the macOS layout var, tmp and etc count as below private.
    static Components normalise(std::string_view path, PlatformLayout layout);

    // The logical path with every symbolic link resolved inside the root, the way realpath(3) does
    // with root "/"; a path that does not exist yet is resolved through its deepest existing
    // ancestor. ".." is taken physically (after a link, it leaves the link's target). Nothing when
    // resolution fails (a loop, a denied lookup, or not even the first component exists).
    std::optional<Components> resolve(std::string_view logicalPath) const;

    // The trusted folder a removal of the real path `path` walks down from without following a link:
    // the home folder for what lies in it, else the root prefix (with the macOS layout /var, /tmp and
    // /etc below it, the system's own links into /private).
    std::filesystem::path anchorFor(const std::filesystem::path& path) const;
    // True when the real path `path` lies inside one of the tool folders in the home that hold
    // credential files (.codex, .gemini, .copilot): entries named like credentials below it stay even
    // when their folder goes.
    bool liesInCredentialToolFolder(const std::filesystem::path& path) const;
    // True when one name (a single path component) looks like a credential file of those tools
    // ("auth*.json", "token*", …), compared lower-cased, also with its combining marks removed.
    static bool isCredentialName(std::string_view name);

    const Components& homeParts() const { return homeParts_; }
    const std::optional<Components>& cacheParts() const { return cacheParts_; }
    const std::optional<Components>& tempParts() const { return tempParts_; }
    const std::set<std::string>& allowedCache() const { return allowedCache_; }
    bool isValid() const { return isValid_; }
    PlatformLayout layout() const { return layout_; }
    const std::filesystem::path& rootPrefix() const { return rootPrefix_; }

private:
    // The lexical components of a real path below the root prefix, the root taken off and normalised
    // (not lower-cased); nothing when the path leaves the root.
    std::optional<Components> logicalComponents(const std::string& text) const;
    std::optional<Components> resolveComponents(Components parts) const;
    std::optional<std::string_view> rulesCheck(const Components& parts) const;
    std::optional<std::string_view> macOSRules(const Components& parts) const;
    std::optional<std::string_view> homeRules(const Components& parts, std::size_t first) const;
    void addPersonalFolder(const std::filesystem::path& folder, std::vector<Components>& list) const;

    Components homeParts_;
    std::optional<Components> cacheParts_;
    std::optional<Components> tempParts_;
    std::set<std::string> allowedCache_;
    bool isValid_ = false;

    PlatformLayout layout_;
    std::filesystem::path rootPrefix_;
    Components rootParts_;
    std::string rootText_; // "" for "/", so that rootText_ + "/x" is always a valid path
    Components realHome_;  // the home below the root as given (not resolved, case kept)
    // Linux layout: folders below the home (relative, lower-cased) protected as a whole, and folders
    // protected only themselves (the pictures folder).
    std::vector<Components> personalFolders_;
    std::vector<Components> personalFolderRoots_;
};

} // namespace velmora
