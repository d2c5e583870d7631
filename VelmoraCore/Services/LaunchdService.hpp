// What launchd reports about one loaded service (`launchctl print <target>`): whether it runs, which
// program it starts and from which file it was loaded.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Services/LaunchScope.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class LaunchdQueryError {
    notLoaded, // launchctl knows no such service in that domain (exit 3 or 113)
    unclear,   // launchctl could not be run, timed out, was cancelled, or failed otherwise
};

struct LaunchdService {
    static constexpr std::string_view launchctl = "/bin/launchctl";
    static constexpr std::chrono::seconds timeout{5};

    bool isRunning = false;
    std::optional<std::string> program; // "program = …" of the service's own block
    std::optional<std::string> path;    // "path = …": the plist it was loaded from

    bool operator==(const LaunchdService&) const = default;

    // The service target of a label: "gui/<uid>/<label>" for agents (per-user and for all users, which
    // run in the user's session), "system/<label>" for daemons. Login items have none.
    static std::optional<std::string> target(LaunchScope scope, std::uint32_t uid, std::string_view label);

    // Reads the output of `launchctl print`. Running means the output holds "state = running"; program
    // and path are taken from the first level of the service's block only, never from nested ones.
    static LaunchdService parse(std::string_view output);

    // Runs `launchctl print <target>` through `runner`.
    static std::expected<LaunchdService, LaunchdQueryError>
    query(CommandRunner& runner, const std::string& target, StopToken stop = {});
};

} // namespace velmora
