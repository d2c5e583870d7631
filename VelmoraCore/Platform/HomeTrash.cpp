#include "Platform/HomeTrash.hpp"

#include "Platform/TrashPrimitives.hpp"

#include <cerrno>
#include <fcntl.h>

namespace velmora {

namespace {
constexpr std::size_t maxAttempts = 10'000;
}

HomeTrash::HomeTrash(std::filesystem::path home) : home_(std::move(home)), folder_(home_ / ".Trash") {}

std::expected<std::filesystem::path, TrashError> HomeTrash::moveToTrash(const RemovalTarget& item) {
    auto located = TrashPrimitives::locate(item);
    if (!located)
        return std::unexpected(located.error());

    // The home folder is the anchor and may be reached through links; ".Trash" in it may not.
    auto trashFd = TrashPrimitives::openOrMakeFolders(home_, folder_);
    if (!trashFd)
        return std::unexpected(trashFd.error());
    if (auto same = TrashPrimitives::requireSameVolume(*located, trashFd->get()); !same)
        return std::unexpected(same.error());

    const std::string& name = located->name;
    for (std::size_t attempt = 1; attempt <= maxAttempts; ++attempt) {
        const std::string candidate = trashCandidateName(name, attempt);
        const int code = TrashPrimitives::renameWithoutReplacing(located->fd.get(), name.c_str(),
                                                                 trashFd->get(), candidate.c_str());
        if (code == 0)
            return folder_ / candidate;
        if (code != EEXIST && code != ENOTEMPTY)
            return std::unexpected(TrashPrimitives::moveFailure(*located, code));
    }
    return std::unexpected(TrashError::make(TrashError::Kind::nameUnavailable));
}

} // namespace velmora
