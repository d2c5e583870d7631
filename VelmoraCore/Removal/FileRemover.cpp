#include "Removal/FileRemover.hpp"

#include "Platform/ParentDirectory.hpp"
#include "Platform/SystemErrorText.hpp"
#include "Platform/TreeSplit.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Safety/SafetyVerdict.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

namespace velmora {

namespace {

// How many of the entries that stayed an outcome names.
constexpr std::size_t namedEntries = 5;

// Why the item must be left alone because the path no longer leads to the recorded object; nothing
// when it still does, or when the way there fails for a reason the removal itself reports.
std::optional<std::string> changeReason(const RemovalTarget& target) {
    const auto parent = ParentDirectory::open(target);
    if (parent)
        return std::nullopt;
    const auto& error = parent.error();
    if (error.kind == ParentDirectoryError::Kind::changed)
        return std::string(changedSinceScanText);
    if (error.kind == ParentDirectoryError::Kind::system && (error.code == ENOENT || error.code == ENOTDIR))
        return std::string(vanishedText);
    return std::nullopt;
}

std::string shown(const std::filesystem::path& relative) {
    return Text::repairUTF8(relative.native());
}

// "geblieben: auth.json, sub/token (Zugangsdaten werden nie angefasst)".
std::string keptNote(const std::vector<std::filesystem::path>& kept) {
    std::string names;
    for (std::size_t i = 0; i < std::min(kept.size(), namedEntries); ++i)
        names += (i == 0 ? "" : ", ") + shown(kept[i]);
    if (kept.size() > namedEntries)
        names += fmt::format(" und {} weitere", kept.size() - namedEntries);
    return fmt::format("geblieben: {} ({})", names, credentialsStayText);
}

} // namespace

FileRemover::FileRemover(std::shared_ptr<const SafetyGuard> guard, std::string_view logCategory)
    : guard_(std::move(guard)), logCategory_(logCategory) {}

std::vector<ItemResult> FileRemover::remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                            StopToken stop) {
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

ItemOutcome FileRemover::removeOne(const PlannedItem& planned, bool dryRun, StopToken stop) {
    const auto& url = planned.item.url;
    if (!url || url->empty())
        return ItemOutcome::skipped(std::string(RemovalText::noPath));
    // The guard comes first even in a dry run, so that a preview never promises what would be refused.
    auto denial =
        guard_ ? guard_->check(*url) : std::optional<std::string>(SafetyReason::invalidConfiguration);
    if (denial) {
        Log::info(logCategory_, fmt::format("guard denied {}: {}", url->string(), *denial));
        return ItemOutcome::failed(std::string(RemovalText::blockedPrefix) + *denial);
    }
    // Whatever lies at the path now but was not there when the user confirmed is not theirs to lose.
    // The action checks this again on the object it acts on; this early look lets a dry run tell too.
    const RemovalTarget target(*url, guard_->anchorFor(*url), planned.identity);
    auto change = planned.identity ? changeReason(target) : planned.changeReason();
    if (change) {
        Log::info(logCategory_, fmt::format("left alone {}: {}", url->string(), *change));
        return ItemOutcome::skipped(std::move(*change));
    }
    if (dryRun)
        return ItemOutcome::skipped(std::string(RemovalText::dryRun));
    // Only there can a folder hold credentials the guard would deny; elsewhere the item goes whole.
    if (planned.identity->kind == FileIdentity::Kind::folder && guard_->liesInCredentialToolFolder(*url))
        return removeAroundCredentials(target, planned.item.size, std::move(stop));
    return apply(target, planned.item.size, std::move(stop));
}

ItemOutcome FileRemover::removeAroundCredentials(const RemovalTarget& target,
                                                 std::optional<std::int64_t> size, StopToken stop) {
    auto parent = ParentDirectory::open(target);
    // Not reachable as a folder any more: the action finds out why and says so.
    if (!parent || !S_ISDIR(parent->status.st_mode))
        return apply(target, size, std::move(stop));
    const auto split = TreeSplit::of(*parent, SafetyGuard::isCredentialName);
    if (!split) {
        const auto& error = split.error();
        std::string reason = systemErrorText(error.code);
        if (!error.where.empty())
            reason += ": " + shown(error.where);
        return ItemOutcome::failed(std::move(reason));
    }
    if (split->kept.empty())
        return apply(target, size, std::move(stop));

    Log::info(logCategory_, fmt::format("{}: {} entries stay, {} parts go", target.path.string(),
                                        split->kept.size(), split->removable.size()));
    std::optional<std::string> failure;
    for (const auto& part : split->removable) {
        if (stop.stop_requested())
            return ItemOutcome::cancelled();
        const auto outcome = apply(RemovalTarget(target.path / part.relative, target.anchor, part.identity),
                                   std::nullopt, stop);
        if (outcome.isCancelled())
            return outcome;
        if (!outcome.isRemoved() && !failure)
            failure = outcome.reason().value_or(std::string()) + ": " + shown(part.relative);
    }
    const std::string note = keptNote(split->kept);
    if (failure)
        return ItemOutcome::failed(*failure + " – " + note);
    return ItemOutcome::removed(
        size ? std::optional(std::max<std::int64_t>(0, *size - split->keptBytes)) : size, note);
}

} // namespace velmora
