// Removes the items of tool findings by running the owning tool's own command (npm, go, brew, xcrun
// …) without a shell; all items of a finding share the command's outcome.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/RunningAppsSource.hpp"
#include "Platform/ToolLocator.hpp"
#include "Removal/Remover.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace velmora {

class ToolRemover final : public Remover {
public:
    // For a command that names no time limit of its own.
    static constexpr std::chrono::minutes defaultTimeout{30};

    // `runningApps` may be null: then no application is taken to be running.
    ToolRemover(std::shared_ptr<CommandRunner> runner, ToolLocator tools,
                std::shared_ptr<const RunningAppsSource> runningApps = nullptr);

    // Per finding, in this order: not a tool finding → every item failed "Falsche Methode"; tool not
    // found → failed "Werkzeug nicht gefunden: <tool>"; an application to quit is running → skipped
    // "<App> läuft – vorher beenden"; dry run → skipped "Trockenlauf"; otherwise the command runs once:
    // exit 0 → every item removed, time limit → failed "Zeitüberschreitung", stopped → cancelled,
    // Homebrew distrusting a tap → failed with the trust hint, any other status N → failed "Exit N".
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                   StopToken stop = {}) override;

    // Where the tool's executable is: "xcrun" only in /usr/bin, an absolute path as it is, any other
    // name through the locator.
    static std::optional<std::filesystem::path> executable(const ToolLocator& tools, std::string_view tool);

private:
    std::vector<ItemOutcome> removeFinding(const RemovalStep& step, bool dryRun, StopToken stop);

    std::shared_ptr<CommandRunner> runner_;
    ToolLocator tools_;
    std::shared_ptr<const RunningAppsSource> runningApps_;
};

} // namespace velmora
