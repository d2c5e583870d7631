// The agents of the automatic check as launchd user agents (the macOS layout): a property list in
// ~/Library/LaunchAgents, loaded into the user's GUI domain with `launchctl bootstrap` and removed
// with `launchctl bootout`.
#pragma once

#include "Check/AgentService.hpp"
#include "Check/CheckSchedule.hpp"
#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <sys/types.h>

namespace velmora {

class LaunchAgentService final : public AgentService {
public:
    static constexpr std::string_view launchctlTool = "/bin/launchctl";
    static constexpr std::chrono::seconds timeout{30};

    struct Setup {
        std::shared_ptr<CommandRunner> runner;
        std::filesystem::path launchctl;                 // normally launchctlTool
        std::filesystem::path launchAgentsFolder;        // <home>/Library/LaunchAgents
        std::optional<std::filesystem::path> executable; // what the agent starts with "--check"
        uid_t uid = 0;                                   // whose GUI domain: gui/<uid>
    };

    explicit LaunchAgentService(Setup setup) : setup_(std::move(setup)) {}

    // The agent's label: its property-list name without ".plist".
    static std::string label(std::string_view plistName);
    // The property list (XML) of a schedule's agent: Label, ProgramArguments [executable, "--check"],
    // StartCalendarInterval (Sundays or the first of the month, 10:00) and ProcessType Background.
    static std::string propertyList(CheckSchedule schedule, const std::filesystem::path& executable);

    // Loaded in the GUI domain (`launchctl print` exits 0): enabled. Not loaded but its property list
    // is in LaunchAgents: requiresApproval – we wrote that file and launchd took it when we registered,
    // so something on the system (the login-items switch in the system settings, `launchctl disable`)
    // now keeps it from running, and only the user can allow it again. Neither: notRegistered.
    // launchctl that cannot be asked: notFound, as the check cannot be scheduled here at all.
    AgentStatus status(std::string_view plistName) override;
    // Writes the property list, boots out an older copy that may still be loaded and bootstraps the
    // new one. A failed bootstrap removes the file again, so that launchd does not pick it up at the
    // next login behind the user's back.
    std::expected<void, AgentServiceError> registerAgent(std::string_view plistName) override;
    // Boots the agent out and removes its property list. A non-zero exit of bootout means the agent
    // was not loaded; launchctl that cannot be run is a failure only when our property list was there.
    std::expected<void, AgentServiceError> unregisterAgent(std::string_view plistName,
                                                           StopToken stop = {}) override;

    std::filesystem::path plistFile(std::string_view plistName) const;

private:
    std::string domain() const;
    std::string serviceTarget(std::string_view plistName) const;

    Setup setup_;
};

} // namespace velmora
