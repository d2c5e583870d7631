// Moves the chosen file items into the user's Trash, where they can still be restored. Never deletes:
// an item the Trash cannot take stays where it is and fails with the Trash's reason.
#pragma once

#include "Platform/Trash.hpp"
#include "Removal/FileRemover.hpp"
#include "Support/StopToken.hpp"

#include <filesystem>
#include <functional>
#include <memory>

namespace velmora {

class TrashRemover final : public FileRemover {
public:
    // Receives each item's original path right after it went into the Trash; called on the
    // removing thread.
    using OnTrashed = std::function<void(const std::filesystem::path&)>;

    TrashRemover(std::shared_ptr<Trash> trash, std::shared_ptr<const SafetyGuard> guard,
                 OnTrashed onTrashed = {});

private:
    // An item that is no longer the recorded object is skipped; every other refusal of the Trash fails.
    ItemOutcome apply(const RemovalTarget& target, std::optional<std::int64_t> size, StopToken stop) override;

    std::shared_ptr<Trash> trash_;
    OnTrashed onTrashed_;
};

} // namespace velmora
