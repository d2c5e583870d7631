#include "Removal/FileRemover.hpp"

#include "Safety/SafetyVerdict.hpp"
#include "Support/Log.hpp"

#include <fmt/format.h>

namespace velmora {

FileRemover::FileRemover(SafetyCheck safety, std::string_view logCategory)
    : safety_(std::move(safety)), logCategory_(logCategory) {
    if (!safety_)
        safety_ = [](const std::filesystem::path&) {
            return std::optional<std::string>(SafetyReason::invalidConfiguration);
        };
}

std::vector<ItemResult> FileRemover::remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                            std::stop_token stop) {
    std::vector<ItemResult> results;
    for (const auto& step : steps) {
        const FindingID id = step.finding ? step.finding->id : FindingID{};
        for (const auto& planned : step.items) {
            ItemOutcome outcome =
                stop.stop_requested() ? ItemOutcome::cancelled() : removeOne(planned, dryRun, stop);
            results.push_back(ItemResult{id, planned.item.id, std::move(outcome)});
        }
    }
    return results;
}

ItemOutcome FileRemover::removeOne(const PlannedItem& planned, bool dryRun, std::stop_token stop) {
    const auto& url = planned.item.url;
    if (!url || url->empty())
        return ItemOutcome::skipped(std::string(RemovalText::noPath));
    // The guard comes first even in a dry run, so that a preview never promises what would be refused.
    if (auto denial = safety_(*url)) {
        Log::info(logCategory_, fmt::format("guard denied {}: {}", url->string(), *denial));
        return ItemOutcome::failed(std::string(RemovalText::blockedPrefix) + *denial);
    }
    // Whatever lies at the path now but was not there when the user confirmed is not theirs to lose.
    if (auto change = planned.changeReason()) {
        Log::info(logCategory_, fmt::format("left alone {}: {}", url->string(), *change));
        return ItemOutcome::skipped(std::move(*change));
    }
    if (dryRun)
        return ItemOutcome::skipped(std::string(RemovalText::dryRun));
    return apply(planned, std::move(stop));
}

} // namespace velmora
