#include "Removal/FreedesktopTrashEmptier.hpp"

#include "Platform/FolderNames.hpp"
#include "Platform/ParentDirectory.hpp"
#include "Platform/SystemErrorText.hpp"
#include "Removal/FinderTrashEmptier.hpp"
#include "Support/Log.hpp"

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>
#include <sys/stat.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view infoSuffix = ".trashinfo";

struct Listing {
    std::vector<std::string> names;
    std::optional<std::string> error; // German; set when the folder is there but cannot be read safely
};

Listing list(const fs::path& anchor, const fs::path& folder) {
    auto fd = ParentDirectory::openFolder(anchor, folder);
    if (!fd) {
        if (fd.error().kind == ParentDirectoryError::Kind::system && fd.error().code == ENOENT)
            return {};
        if (fd.error().kind == ParentDirectoryError::Kind::linkOnTheWay)
            return {{}, std::string(unsafeFolderText) + ": " + folder.string()};
        return {{}, systemErrorText(fd.error().code) + ": " + folder.string()};
    }
    auto names = folderNames(fd->get());
    if (!names)
        return {{}, systemErrorText(names.error()) + ": " + folder.string()};
    std::ranges::sort(*names);
    return {std::move(*names), std::nullopt};
}

} // namespace

FreedesktopTrashEmptier::FreedesktopTrashEmptier(fs::path trashFolder, fs::path anchor,
                                                 std::shared_ptr<const SizeMeasurer> sizer,
                                                 TreeDeleter deleter)
    : folder_(std::move(trashFolder)), anchor_(std::move(anchor)), sizer_(std::move(sizer)),
      deleter_(std::move(deleter)) {}

std::optional<std::int64_t> FreedesktopTrashEmptier::size(StopToken stop) const {
    if (!sizer_)
        return std::nullopt;
    const auto files = trashFolderSize(*sizer_, folder_ / "files", stop);
    const auto info = trashFolderSize(*sizer_, folder_ / "info", stop);
    if (!files || !info)
        return std::nullopt;
    return *files + *info;
}

std::expected<std::int64_t, EmptyTrashError> FreedesktopTrashEmptier::empty(bool dryRun,
                                                                            StopToken stop) const {
    if (dryRun)
        return 0;
    const auto files = list(anchor_, folder_ / "files");
    const auto infos = list(anchor_, folder_ / "info");
    for (const auto* listing : {&files, &infos})
        if (listing->error)
            return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::failed, *listing->error});
    const auto before = size(stop);

    std::optional<std::string> firstFailure;
    std::set<std::string> stayed;
    const auto remove = [&](const fs::path& path) {
        if (stop.stop_requested())
            return false;
        const auto removed = deleter_.remove(RemovalTarget(path, anchor_), stop);
        if (removed || removed.error().kind == DeleteError::Kind::notFound)
            return true;
        if (!firstFailure)
            firstFailure = path.filename().string() + ": " + removed.error().message;
        Log::error("trash", "could not delete " + path.string() + ": " + removed.error().message);
        return false;
    };
    for (const auto& name : files.names)
        if (!remove(folder_ / "files" / name))
            stayed.insert(name);
    for (const auto& name : infos.names) {
        // A record whose item stayed is kept, so that the desktop still shows and restores the item.
        const bool isRecord = name.size() > infoSuffix.size() && name.ends_with(infoSuffix);
        if (isRecord && stayed.contains(name.substr(0, name.size() - infoSuffix.size())))
            continue;
        remove(folder_ / "info" / name);
    }
    if (stop.stop_requested() && !firstFailure)
        firstFailure = std::string(cancelledText);
    if (firstFailure)
        return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::failed, *firstFailure});
    const auto after = size(stop);
    return std::max<std::int64_t>(0, before.value_or(0) - after.value_or(0));
}

} // namespace velmora
