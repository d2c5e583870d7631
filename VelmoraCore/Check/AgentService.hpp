// Registers the launch agents of the automatic check with the system's launch machinery, by their
// property-list names ("de.tobrenlux.velmora2.check.weekly.plist" …). Live: LaunchAgentService
// (launchd, the macOS layout) and SystemdTimerService (systemd user timers, the Linux layout).
#pragma once

#include "Check/AgentStatus.hpp"
#include "Support/StopToken.hpp"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace velmora {

struct AgentServiceError {
    enum class Kind {
        unknownAgent, // the name is not one of our agents
        noExecutable, // the path of our own executable is unknown or cannot be written into the agent
        writeFile,    // the agent's file could not be written
        removeFile,   // the agent's file could not be removed
        command,      // launchctl/systemctl could not be run or reported a failure
    };
    Kind kind;
    std::string detail; // for the log and the command line: what failed, in the system's words

    static std::unexpected<AgentServiceError> failure(Kind kind, std::string detail) {
        return std::unexpected(AgentServiceError{kind, std::move(detail)});
    }
    bool operator==(const AgentServiceError&) const = default;
};

// True when an agent's file is there in any form, a dangling link included (links are not followed).
inline bool agentFilePresent(const std::filesystem::path& file) {
    std::error_code ec;
    return std::filesystem::symlink_status(file, ec).type() != std::filesystem::file_type::not_found;
}

// Not thread-safe: the scheduler applies one change at a time.
class AgentService {
public:
    virtual ~AgentService() = default;

    // Asks the system afresh; an unknown name is `notFound`.
    virtual AgentStatus status(std::string_view plistName) = 0;
    // Installs and starts the agent; registering a registered agent renews it.
    virtual std::expected<void, AgentServiceError> registerAgent(std::string_view plistName) = 0;
    // Stops and removes the agent; an agent that is not registered is no failure.
    virtual std::expected<void, AgentServiceError> unregisterAgent(std::string_view plistName,
                                                                   StopToken stop = {}) = 0;
};

} // namespace velmora
