// Lists the background services that start on this Mac – the user's launch agents, the agents for all
// users, the launch daemons and the login items – and decides for each whether it is orphaned (its
// app or program is gone), with one German sentence that explains the verdict.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Services/AppLocator.hpp"
#include "Services/LaunchItem.hpp"
#include "Services/ServicesLoad.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// Everything is read below `rootPrefix`, which stands for "/" (a temp folder in tests): the plists'
// program paths name the system's paths and are looked up below it. Verdicts lean to "keep": a program
// whose existence cannot be tested (a permission error, a link loop) never makes a service orphaned,
// nor does a program on a volume that is not connected.
//
// Thread-safe: scans may run concurrently; nothing in a scan throws.
class LaunchItemScanner {
public:
    struct Sources {
        std::filesystem::path rootPrefix = "/";
        std::filesystem::path home;             // a real path, below rootPrefix
        std::uint32_t uid = 0;                  // whose launchd session and login items are read
        std::shared_ptr<CommandRunner> runner;  // launchctl, sfltool; none: nothing runs, login items fail
        std::shared_ptr<const AppLocator> apps; // none: no app is found by bundle identifier
        bool includeLoginItems = true;          // false: only the three folders (a quick orphan test)

        // The live services for `home`: the app index of the layout's usual app folders.
        static Sources live(std::filesystem::path rootPrefix, std::filesystem::path home, std::uint32_t uid,
                            std::shared_ptr<CommandRunner> runner, PlatformLayout layout = hostLayout());
    };

    explicit LaunchItemScanner(Sources sources);

    // The services list with the login-item failure flag; sorted by scope, then name in Finder order,
    // then label, then id. A stop request ends the scan early with what it has.
    ServicesLoad load(StopToken stop = {}) const;
    std::vector<LaunchItem> scan(StopToken stop = {}) const;

    // Nothing when the item may be removed; otherwise the German reason why not.
    std::optional<std::string> removalBlockReason(const LaunchItem& item) const;
    bool isRemovable(const LaunchItem& item) const;
    static bool isValidLabel(std::string_view label);

    // The folder whose start files a scope lists (below the root prefix); none for login items.
    std::optional<std::filesystem::path> folder(LaunchScope scope) const;
    std::uint32_t uid() const { return sources_.uid; }

private:
    std::vector<LaunchItem> readFolder(LaunchScope scope, StopToken stop) const;
    std::optional<LaunchItem> readPlist(LaunchScope scope, const std::filesystem::path& file,
                                        const std::string& fileLabel) const;
    AppPresence presence(const std::string& bundleID) const;
    std::optional<LocatedApp> installedApp(const std::vector<std::string>& bundleIDs) const;
    // Removable but for a kept service with the same label.
    bool isRemovableAlone(const LaunchItem& item) const;

    Sources sources_;
};

} // namespace velmora
