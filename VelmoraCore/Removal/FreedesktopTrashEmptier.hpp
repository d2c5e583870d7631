// Empties the Trash of the Linux desktops (the freedesktop.org layout): every entry of "files" and
// every ".trashinfo" of "info", deleted for good through descriptors, so that a link planted in the
// Trash leads nowhere.
#pragma once

#include "Platform/SizeMeasurer.hpp"
#include "Platform/TreeDeleter.hpp"
#include "Removal/TrashEmptier.hpp"

#include <filesystem>
#include <memory>

namespace velmora {

class FreedesktopTrashEmptier final : public TrashEmptier {
public:
    // `trashFolder` is "<data home>/Trash" (see FreedesktopTrash::dataHomeFor); it is reached from
    // `anchor` (the home folder) without following a link.
    FreedesktopTrashEmptier(std::filesystem::path trashFolder, std::filesystem::path anchor,
                            std::shared_ptr<const SizeMeasurer> sizer, TreeDeleter deleter = TreeDeleter());

    // "files" and "info" together.
    std::optional<std::int64_t> size(StopToken stop = {}) const override;
    // Deletes the entries of "files" first, then each ".trashinfo" whose item is gone, so that an item
    // that stays (a permission, a mount point) can still be seen and restored by the desktop. What
    // can go goes; the first failure becomes the message. "files" or "info" as a link, or a link on
    // the way to them, fails before anything is touched.
    std::expected<std::int64_t, EmptyTrashError> empty(bool dryRun, StopToken stop = {}) const override;

private:
    std::filesystem::path folder_;
    std::filesystem::path anchor_;
    std::shared_ptr<const SizeMeasurer> sizer_;
    TreeDeleter deleter_;
};

} // namespace velmora
