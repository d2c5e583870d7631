#include "Removal/ToolRemover.hpp"

#include "Removal/BrewCommand.hpp"
#include "Removal/RunningAppCheck.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>

namespace velmora {

namespace {

constexpr std::string_view logCategory = "tool";

std::vector<ItemOutcome> all(const RemovalStep& step, const ItemOutcome& outcome) {
    return std::vector<ItemOutcome>(step.items.size(), outcome);
}

} // namespace

ToolRemover::ToolRemover(std::shared_ptr<CommandRunner> runner, ToolLocator tools,
                         std::shared_ptr<const RunningAppsSource> runningApps)
    : runner_(std::move(runner)), tools_(std::move(tools)), runningApps_(std::move(runningApps)) {}

std::optional<std::filesystem::path> ToolRemover::executable(const ToolLocator& tools,
                                                             std::string_view tool) {
    if (tool == "xcrun") {
        const std::filesystem::path xcrun = "/usr/bin/xcrun";
        if (tools.fileExists && tools.fileExists(xcrun))
            return xcrun;
        return std::nullopt;
    }
    if (tool.find('/') != std::string_view::npos) {
        const std::filesystem::path path(tool);
        if (path.is_absolute() && tools.fileExists && tools.fileExists(path))
            return path;
        return std::nullopt;
    }
    return tools.locate(tool);
}

std::vector<ItemResult> ToolRemover::remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                            StopToken stop) {
    std::vector<ItemResult> results;
    for (const auto& step : steps) {
        if (step.items.empty())
            continue;
        const auto outcomes = removeFinding(step, dryRun, stop);
        const FindingID id = step.finding ? step.finding->id : FindingID{};
        for (std::size_t k = 0; k < step.items.size(); ++k)
            results.push_back(ItemResult{id, step.items[k].item.id, outcomes[k]});
    }
    return results;
}

std::vector<ItemOutcome> ToolRemover::removeFinding(const RemovalStep& step, bool dryRun, StopToken stop) {
    if (stop.stop_requested())
        return all(step, ItemOutcome::cancelled());
    const auto* tool = step.finding ? std::get_if<RemovalMethod::Tool>(&step.finding->method.value) : nullptr;
    if (!tool)
        return all(step, ItemOutcome::failed(std::string(RemovalText::wrongMethod)));
    const ToolCommand& command = tool->command;

    const auto path = executable(tools_, command.tool);
    if (!path)
        return all(step, ItemOutcome::failed(std::string(RemovalText::toolNotFoundPrefix) + command.tool));

    if (runningApps_) {
        const auto selected = step.selection().items;
        if (!RunningAppCheck::nothingToCheck(*step.finding, selected)) {
            const auto check = RunningAppCheck::take(*runningApps_);
            std::optional<std::string> blocker = check.blocker(*step.finding, nullptr);
            for (std::size_t k = 0; !blocker && k < selected.size(); ++k)
                blocker = check.blocker(*step.finding, &selected[k]);
            if (blocker)
                return all(step, ItemOutcome::skipped(std::move(*blocker)));
        }
    }

    if (dryRun)
        return all(step, ItemOutcome::skipped(std::string(RemovalText::dryRun)));

    const auto timeout = command.timeout > std::chrono::nanoseconds::zero()
                             ? command.timeout
                             : std::chrono::duration_cast<std::chrono::nanoseconds>(defaultTimeout);
    Log::info(logCategory, fmt::format("running {} for {}", command.commandLine(), step.finding->id.text()));
    const auto ran = runner_ ? runner_->run(*path, command.arguments, timeout, stop)
                             : std::expected<CommandResult, CommandError>(std::unexpected(
                                   CommandError{CommandError::Kind::launchFailed, "Kein Befehlsausführer"}));
    if (!ran) {
        Log::error(logCategory,
                   fmt::format("{} did not finish: {}", command.commandLine(), ran.error().message));
        switch (ran.error().kind) {
        case CommandError::Kind::timeout:
            return all(step, ItemOutcome::failed(std::string(RemovalText::timeout)));
        case CommandError::Kind::cancelled:
            return all(step, ItemOutcome::cancelled());
        case CommandError::Kind::launchFailed:
            break;
        }
        return all(step, ItemOutcome::failed(ran.error().message));
    }
    if (ran->exitCode == 0) {
        std::vector<ItemOutcome> outcomes;
        for (const auto& planned : step.items)
            outcomes.push_back(ItemOutcome::removed(planned.item.size));
        return outcomes;
    }
    Log::error(logCategory, fmt::format("{} exited with {}", command.commandLine(), ran->exitCode));
    if (auto hint = BrewCommand::trustHint(command, ran->standardOutput + "\n" + ran->standardError))
        return all(step, ItemOutcome::failed(std::move(*hint)));
    return all(step, ItemOutcome::failed("Exit " + std::to_string(ran->exitCode)));
}

} // namespace velmora
