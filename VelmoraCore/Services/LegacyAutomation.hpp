// Finds and removes the automation an earlier version of the program installed: a user launch agent
// "de.tobrenlux.velmora.…" that runs a cleanup.sh each month, with that script and its log files.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Removal/RemovalReport.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Services/LegacyItem.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class LegacyAutomation {
public:
    static constexpr std::string_view labelPrefix = "de.tobrenlux.velmora.";
    static constexpr std::string_view currentLabelPrefix = "de.tobrenlux.velmora2.";
    static constexpr std::string_view scriptName = "cleanup.sh";
    static constexpr std::string_view findingScannerID = "services.legacyAutomation";
    static constexpr std::string_view stopFailedText =
        "Die alte Automatik ließ sich nicht stoppen – nicht entfernt.";

    struct Setup {
        std::filesystem::path rootPrefix = "/";
        std::filesystem::path home; // real path, below rootPrefix
        std::uint32_t uid = 0;      // whose launchd session the agent runs in
        PlatformLayout layout = hostLayout();
        std::shared_ptr<CommandRunner> commands; // launchctl; none: nothing can be stopped
    };

    // `removal` moves the files to the Trash through the safety guard.
    LegacyAutomation(Setup setup, RemovalRunner removal);

    // The old agents in the user's LaunchAgents folder, in file-name order; none with the Linux layout.
    // An agent counts when its start file is a regular file that parses, its label starts with the old
    // prefix (any case) but not the current one, and its program – the first word of ProgramArguments or
    // Program, or the script a shell in /bin is given as its first word – is an absolute, clean path to a
    // file named cleanup.sh. The script and the logs (StandardOutPath, StandardErrorPath) are taken only
    // when they are absolute, clean paths that name a regular file now; a path with control characters,
    // "." or ".." in it, or that names a folder or a link, is left out (and so never touched).
    std::vector<LegacyItem> find() const;

    // Stops each agent ("/bin/launchctl bootout gui/<uid>/<label>"; not loaded is fine) and then moves
    // its start file, script and logs to the Trash; one result per file, under the finding
    // "services.legacyAutomation". An agent that could not be stopped keeps all its files (each fails).
    // Every path passes the safety guard: a script or log outside the home stays where it is. In a dry
    // run nothing is stopped or moved.
    RemovalReport remove(const std::vector<LegacyItem>& items, bool dryRun,
                         const std::function<void(const std::string&)>& progress = {},
                         StopToken stop = {}) const;

private:
    Setup setup_;
    RemovalRunner removal_;
};

} // namespace velmora
