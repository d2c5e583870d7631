#include "Removal/TrashRemover.hpp"

#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>

namespace velmora {

namespace {
constexpr std::string_view logCategory = "trash";
} // namespace

TrashRemover::TrashRemover(std::shared_ptr<Trash> trash, std::shared_ptr<const SafetyGuard> guard,
                           OnTrashed onTrashed)
    : FileRemover(std::move(guard), logCategory), trash_(std::move(trash)), onTrashed_(std::move(onTrashed)) {
}

ItemOutcome TrashRemover::apply(const RemovalTarget& target, std::optional<std::int64_t> size, StopToken) {
    const auto& url = target.path;
    if (!trash_)
        return ItemOutcome::failed(std::string(noTrashText));
    const auto moved = trash_->moveToTrash(target);
    if (!moved) {
        Log::error(logCategory, fmt::format("could not trash {}: {}", url.string(), moved.error().message));
        if (moved.error().kind == TrashError::Kind::changed)
            return ItemOutcome::skipped(moved.error().message);
        return ItemOutcome::failed(moved.error().message);
    }
    Log::info(logCategory, fmt::format("trashed {} as {}", url.string(), moved->string()));
    if (onTrashed_)
        onTrashed_(url);
    // The recorded identity is what the Trash just verified and moved; looking at the entry again
    // could see something another program put there meanwhile.
    std::optional<TrashPlacement> placement;
    if (const auto identity = target.identity ? target.identity : FileIdentity::of(*moved))
        placement = TrashPlacement{*moved, trash_->infoFileFor(*moved), *identity};
    return ItemOutcome::removed(size, std::nullopt, std::move(placement));
}

} // namespace velmora
