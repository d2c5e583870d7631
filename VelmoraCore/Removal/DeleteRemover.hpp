// Deletes the chosen file items for good, through TreeDeleter: no link is followed, no other volume
// entered, and a folder swapped during the walk is left alone.
#pragma once

#include "Platform/TreeDeleter.hpp"
#include "Removal/FileRemover.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class DeleteRemover final : public FileRemover {
public:
    explicit DeleteRemover(std::shared_ptr<const SafetyGuard> guard, TreeDeleter deleter = TreeDeleter());

private:
    // A deletion that removed only part of a folder fails with the first entry that stayed; one that
    // was stopped midway is `cancelled` (what went so far is gone); an item that is no longer the
    // recorded object is skipped untouched.
    ItemOutcome apply(const RemovalTarget& target, std::optional<std::int64_t> size, StopToken stop) override;

    TreeDeleter deleter_;
};

} // namespace velmora
