#include "Check/SystemdTimerService.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Support/AtomicFile.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

namespace velmora {

namespace fs = std::filesystem;

namespace {

std::string_view rhythm(CheckSchedule schedule) {
    return schedule == CheckSchedule::monthly ? "monatlich" : "wöchentlich";
}

std::string trimmed(const std::string& text) {
    const auto start = text.find_first_not_of(" \t\r\n");
    if (start == std::string::npos)
        return {};
    return text.substr(start, text.find_last_not_of(" \t\r\n") - start + 1);
}

} // namespace

std::string SystemdTimerService::unitName(CheckSchedule schedule) {
    return "velmora2-check-" + std::string(rawValue(schedule));
}

std::optional<std::string> SystemdTimerService::quotedExecutable(std::string_view path) {
    // Unit files are read as UTF-8; a line that is not is dropped.
    if (!Text::isValidUTF8(path))
        return std::nullopt;
    std::string quoted = "\"";
    for (const char c : path) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f || c == '"' || c == '\'' || c == '\\')
            return std::nullopt;
        quoted += c;
        if (c == '%')
            quoted += '%';
    }
    return quoted + '"';
}

std::optional<std::string> SystemdTimerService::serviceUnit(CheckSchedule schedule,
                                                            const fs::path& executable) {
    const auto program = quotedExecutable(executable.string());
    if (!program)
        return std::nullopt;
    return "[Unit]\n"
           "Description=Velmora 2 – automatischer Check (" +
           std::string(rhythm(schedule)) +
           ")\n"
           "\n"
           "[Service]\n"
           "Type=oneshot\n"
           "ExecStart=" +
           *program +
           " --check\n"
           // A check is no hurry: it gives way to whatever the user is doing.
           "Nice=10\n"
           "IOSchedulingClass=idle\n"
           // The notification waits for its click in a process of its own after the check has ended;
           // systemd would otherwise end it with the check.
           "KillMode=process\n";
}

std::string SystemdTimerService::timerUnit(CheckSchedule schedule) {
    const std::string calendar =
        schedule == CheckSchedule::monthly ? "*-*-01 10:00:00" : "Sun *-*-* 10:00:00";
    return "[Unit]\n"
           "Description=Velmora 2 – automatischer Check (" +
           std::string(rhythm(schedule)) +
           ")\n"
           "\n"
           "[Timer]\n"
           "OnCalendar=" +
           calendar +
           "\n"
           // A check missed while the machine was off runs at the next start, as launchd does on a Mac.
           "Persistent=true\n"
           "Unit=" +
           unitName(schedule) +
           ".service\n"
           "\n"
           "[Install]\n"
           "WantedBy=timers.target\n";
}

fs::path SystemdTimerService::serviceFile(CheckSchedule schedule) const {
    return setup_.unitFolder / (unitName(schedule) + ".service");
}

fs::path SystemdTimerService::timerFile(CheckSchedule schedule) const {
    return setup_.unitFolder / (unitName(schedule) + ".timer");
}

std::expected<CommandResult, CommandError> SystemdTimerService::systemctl(std::vector<std::string> arguments,
                                                                          StopToken stop) const {
    arguments.insert(arguments.begin(), "--user");
    return setup_.runner->run(*setup_.systemctl, arguments, timeout, std::move(stop));
}

void SystemdTimerService::removeUnits(CheckSchedule schedule, std::error_code& ec) const {
    for (const auto& file : {timerFile(schedule), serviceFile(schedule)}) {
        std::error_code removed;
        fs::remove(file, removed);
        if (removed && !ec)
            ec = removed;
    }
}

AgentStatus SystemdTimerService::status(std::string_view plistName) {
    const auto schedule = scheduleForAgent(plistName);
    if (!schedule)
        return AgentStatus::notFound;
    if (!agentFilePresent(timerFile(*schedule)))
        return AgentStatus::notRegistered;
    if (!setup_.systemctl)
        return AgentStatus::notFound;
    const auto answer = systemctl({"is-enabled", unitName(*schedule) + ".timer"});
    if (!answer)
        return AgentStatus::notFound;
    const auto state = trimmed(answer->standardOutput);
    if (state == "enabled" || state == "enabled-runtime")
        return AgentStatus::enabled;
    if (state == "masked" || state == "masked-runtime")
        return AgentStatus::requiresApproval;
    // Without a state systemctl could not reach the user manager (no session bus, no systemd).
    return state.empty() ? AgentStatus::notFound : AgentStatus::notRegistered;
}

std::expected<void, AgentServiceError> SystemdTimerService::registerAgent(std::string_view plistName) {
    const auto schedule = scheduleForAgent(plistName);
    if (!schedule)
        return AgentServiceError::failure(AgentServiceError::Kind::unknownAgent, std::string(plistName));
    if (!setup_.systemctl)
        return AgentServiceError::failure(AgentServiceError::Kind::command, "systemctl nicht gefunden");
    if (!setup_.executable || !setup_.executable->is_absolute())
        return AgentServiceError::failure(AgentServiceError::Kind::noExecutable,
                                          "Pfad des Programms unbekannt");
    const auto service = serviceUnit(*schedule, *setup_.executable);
    if (!service)
        return AgentServiceError::failure(AgentServiceError::Kind::noExecutable,
                                          "systemd kann das Programm unter diesem Pfad nicht starten: " +
                                              setup_.executable->string());
    for (const auto& [file, text] : {std::pair{serviceFile(*schedule), *service},
                                     std::pair{timerFile(*schedule), timerUnit(*schedule)}}) {
        if (auto written = writeFileAtomically(file, text); !written) {
            std::error_code ignored;
            removeUnits(*schedule, ignored);
            return AgentServiceError::failure(AgentServiceError::Kind::writeFile,
                                              file.string() + ": " + written.error().code.message());
        }
    }
    auto outcome = systemctl({"daemon-reload"});
    if (outcome && outcome->exitCode == 0)
        outcome = systemctl({"enable", "--now", unitName(*schedule) + ".timer"});
    if (outcome && outcome->exitCode == 0)
        return {};
    std::error_code ignored;
    removeUnits(*schedule, ignored);
    (void)systemctl({"daemon-reload"});
    return AgentServiceError::failure(AgentServiceError::Kind::command,
                                      commandFailureText(*setup_.systemctl, outcome));
}

std::expected<void, AgentServiceError> SystemdTimerService::unregisterAgent(std::string_view plistName,
                                                                            StopToken stop) {
    const auto schedule = scheduleForAgent(plistName);
    if (!schedule)
        return AgentServiceError::failure(AgentServiceError::Kind::unknownAgent, std::string(plistName));
    if (!agentFilePresent(timerFile(*schedule)) && !agentFilePresent(serviceFile(*schedule)))
        return {};
    std::optional<std::expected<CommandResult, CommandError>> disabled;
    if (setup_.systemctl && agentFilePresent(timerFile(*schedule)))
        disabled = systemctl({"disable", "--now", unitName(*schedule) + ".timer"}, stop);
    // The files go even when systemctl failed: without them the timer cannot come back at the next login.
    std::error_code ec;
    removeUnits(*schedule, ec);
    if (setup_.systemctl)
        (void)systemctl({"daemon-reload"}, stop);
    if (ec)
        return AgentServiceError::failure(AgentServiceError::Kind::removeFile,
                                          setup_.unitFolder.string() + ": " + ec.message());
    if (disabled && (!*disabled || (*disabled)->exitCode != 0))
        return AgentServiceError::failure(AgentServiceError::Kind::command,
                                          commandFailureText(*setup_.systemctl, *disabled));
    return {};
}

} // namespace velmora
