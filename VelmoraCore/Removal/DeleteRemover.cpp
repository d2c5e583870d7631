#include "Removal/DeleteRemover.hpp"

#include "Support/Log.hpp"

#include <fmt/format.h>

namespace velmora {

namespace {
constexpr std::string_view logCategory = "delete";
} // namespace

DeleteRemover::DeleteRemover(SafetyCheck safety, TreeDeleter deleter)
    : FileRemover(std::move(safety), logCategory), deleter_(std::move(deleter)) {}

ItemOutcome DeleteRemover::apply(const PlannedItem& planned, std::stop_token stop) {
    const auto& url = *planned.item.url;
    const auto deleted = deleter_.remove(url, std::move(stop));
    if (deleted) {
        Log::info(logCategory, fmt::format("deleted {} ({} entries)", url.string(), deleted->removedEntries));
        return ItemOutcome::removed(planned.item.size);
    }
    const auto& error = deleted.error();
    Log::error(logCategory, fmt::format("could not delete {}: {} ({} entries removed)", url.string(),
                                        error.message, error.removed.removedEntries));
    if (error.kind == DeleteError::Kind::cancelled)
        return ItemOutcome::cancelled();
    return ItemOutcome::failed(error.message);
}

} // namespace velmora
