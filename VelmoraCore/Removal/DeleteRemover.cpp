#include "Removal/DeleteRemover.hpp"

#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>

namespace velmora {

namespace {
constexpr std::string_view logCategory = "delete";
} // namespace

DeleteRemover::DeleteRemover(std::shared_ptr<const SafetyGuard> guard, TreeDeleter deleter)
    : FileRemover(std::move(guard), logCategory), deleter_(std::move(deleter)) {}

ItemOutcome DeleteRemover::apply(const RemovalTarget& target, std::optional<std::int64_t> size,
                                 StopToken stop) {
    const auto& url = target.path;
    const auto deleted = deleter_.remove(target, std::move(stop));
    if (deleted) {
        Log::info(logCategory, fmt::format("deleted {} ({} entries)", url.string(), deleted->removedEntries));
        return ItemOutcome::removed(size);
    }
    const auto& error = deleted.error();
    Log::error(logCategory, fmt::format("could not delete {}: {} ({} entries removed)", url.string(),
                                        error.message, error.removed.removedEntries));
    if (error.kind == DeleteError::Kind::cancelled)
        return ItemOutcome::cancelled();
    if (error.kind == DeleteError::Kind::changed)
        return ItemOutcome::skipped(error.message);
    return ItemOutcome::failed(error.message);
}

} // namespace velmora
