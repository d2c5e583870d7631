#include "Removal/TrashRemover.hpp"

#include "Support/Log.hpp"

#include <fmt/format.h>

namespace velmora {

namespace {
constexpr std::string_view logCategory = "trash";
} // namespace

TrashRemover::TrashRemover(std::shared_ptr<Trash> trash, SafetyCheck safety, OnTrashed onTrashed)
    : FileRemover(std::move(safety), logCategory), trash_(std::move(trash)),
      onTrashed_(std::move(onTrashed)) {}

ItemOutcome TrashRemover::apply(const PlannedItem& planned, std::stop_token) {
    const auto& url = *planned.item.url;
    if (!trash_)
        return ItemOutcome::failed(std::string(noTrashText));
    const auto moved = trash_->moveToTrash(url);
    if (!moved) {
        Log::error(logCategory, fmt::format("could not trash {}: {}", url.string(), moved.error().message));
        return ItemOutcome::failed(moved.error().message);
    }
    Log::info(logCategory, fmt::format("trashed {} as {}", url.string(), moved->string()));
    if (onTrashed_)
        onTrashed_(url);
    return ItemOutcome::removed(planned.item.size);
}

} // namespace velmora
