// The agents of the automatic check as systemd user timers (the Linux layout): a service and a timer
// unit in ${XDG_CONFIG_HOME:-~/.config}/systemd/user, switched on and off with `systemctl --user`.
// "de.tobrenlux.velmora2.check.weekly.plist" becomes velmora2-check-weekly.service/.timer.
#pragma once

#include "Check/AgentService.hpp"
#include "Check/CheckSchedule.hpp"
#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace velmora {

class SystemdTimerService final : public AgentService {
public:
    static constexpr std::chrono::seconds timeout{30};

    struct Setup {
        std::shared_ptr<CommandRunner> runner;
        std::optional<std::filesystem::path> systemctl;  // nothing: systemd is not there
        std::filesystem::path unitFolder;                // <config>/systemd/user
        std::optional<std::filesystem::path> executable; // what the service starts with "--check"
    };

    explicit SystemdTimerService(Setup setup) : setup_(std::move(setup)) {}

    // "velmora2-check-weekly" / "velmora2-check-monthly".
    static std::string unitName(CheckSchedule schedule);
    // The service unit: a one-shot run of "<executable> --check" at low priority. Nothing when systemd
    // would refuse the path (see quotedExecutable).
    static std::optional<std::string> serviceUnit(CheckSchedule schedule,
                                                  const std::filesystem::path& executable);
    // The timer: Sundays or the first of the month at 10:00, caught up after the machine was off.
    static std::string timerUnit(CheckSchedule schedule);
    // The executable of ExecStart= as systemd reads it back: in double quotes (blanks), "%" doubled
    // (specifiers); "$" stays, as systemd expands variables only in arguments. Nothing for a path
    // systemd refuses to run (control characters, quotes, backslashes, bytes that are not UTF-8).
    static std::optional<std::string> quotedExecutable(std::string_view path);

    // No timer file: notRegistered. Otherwise `systemctl --user is-enabled`: enabled (or
    // enabled-runtime) → enabled; masked → requiresApproval (the user blocked it on purpose);
    // anything else → notRegistered. No systemctl, or one that answers nothing: notFound.
    AgentStatus status(std::string_view plistName) override;
    // Writes both units, reloads the user manager and enables the timer at once. When that fails the
    // units are removed again, so nothing half-registered stays behind.
    std::expected<void, AgentServiceError> registerAgent(std::string_view plistName) override;
    // Disables and stops the timer, removes both units and reloads. Without a timer file there is
    // nothing to switch off and systemctl is not asked.
    std::expected<void, AgentServiceError> unregisterAgent(std::string_view plistName,
                                                           StopToken stop = {}) override;

    std::filesystem::path serviceFile(CheckSchedule schedule) const;
    std::filesystem::path timerFile(CheckSchedule schedule) const;

private:
    std::expected<CommandResult, CommandError> systemctl(std::vector<std::string> arguments,
                                                         StopToken stop = {}) const;
    void removeUnits(CheckSchedule schedule, std::error_code& ec) const;

    Setup setup_;
};

} // namespace velmora
