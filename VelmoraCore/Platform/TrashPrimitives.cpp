#include "Platform/TrashPrimitives.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace velmora::TrashPrimitives {

namespace {

// The error for a failed walk to an item, or with `toTrash` to a Trash folder.
TrashError walkFailure(const ParentDirectoryError& error, bool toTrash) {
    switch (error.kind) {
    case ParentDirectoryError::Kind::invalidPath:
        return TrashError::make(toTrash ? TrashError::Kind::noTrash : TrashError::Kind::invalidPath);
    case ParentDirectoryError::Kind::linkOnTheWay:
        return TrashError::make(TrashError::Kind::unsafeLocation);
    case ParentDirectoryError::Kind::changed:
        return TrashError::make(TrashError::Kind::changed);
    case ParentDirectoryError::Kind::system:
        break;
    }
    // A file where a Trash folder belongs needs no system text to explain it.
    if (toTrash)
        return TrashError::make(TrashError::Kind::noTrash, error.code == ENOTDIR ? 0 : error.code);
    if (error.code == ENOENT || error.code == ENOTDIR)
        return TrashError::make(TrashError::Kind::notFound, error.code);
    return TrashError::make(TrashError::Kind::system, error.code);
}

} // namespace

std::expected<ParentDirectory, TrashError> locate(const RemovalTarget& item) {
    auto parent = ParentDirectory::open(item);
    if (!parent)
        return std::unexpected(walkFailure(parent.error(), false));
    return std::move(*parent);
}

std::expected<UniqueFd, TrashError> openOrMakeFolders(const std::filesystem::path& anchor,
                                                      const std::filesystem::path& folder) {
    auto fd = ParentDirectory::openFolder(anchor, folder, 0700);
    if (!fd)
        return std::unexpected(walkFailure(fd.error(), true));
    return std::move(*fd);
}

std::expected<void, TrashError> requireSameVolume(const ParentDirectory& item, int trashFd) {
    struct stat st {};
    if (::fstat(trashFd, &st) != 0)
        return std::unexpected(TrashError::make(TrashError::Kind::system, errno));
    if (st.st_dev != item.status.st_dev)
        return std::unexpected(TrashError::make(TrashError::Kind::otherVolume, EXDEV));
    return {};
}

int renameWithoutReplacing(int fromFd, const char* fromName, int toFd, const char* toName) {
#if defined(__APPLE__)
    if (::renameatx_np(fromFd, fromName, toFd, toName, RENAME_EXCL) == 0)
        return 0;
    const bool unsupported = errno == ENOTSUP;
#else
    if (::renameat2(fromFd, fromName, toFd, toName, RENAME_NOREPLACE) == 0)
        return 0;
    // EINVAL also means "a folder into itself"; the plain rename below then fails the same way.
    const bool unsupported = errno == EINVAL || errno == ENOSYS;
#endif
    if (!unsupported)
        return errno;
    // A file system without an exclusive rename: look first. Another program could take the name in
    // the moment between; a rename into a Trash folder only risks replacing an item already trashed.
    struct stat st {};
    if (::fstatat(toFd, toName, &st, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    if (::renameat(fromFd, fromName, toFd, toName) == 0)
        return 0;
    return errno;
}

TrashError moveFailure(const ParentDirectory& item, int code) {
    if (code == EXDEV)
        return TrashError::make(TrashError::Kind::otherVolume, code);
    if (code == ENOENT) {
        struct stat st {};
        if (::fstatat(item.fd.get(), item.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
            return TrashError::make(TrashError::Kind::notFound, code);
    }
    return TrashError::make(TrashError::Kind::system, code);
}

} // namespace velmora::TrashPrimitives
