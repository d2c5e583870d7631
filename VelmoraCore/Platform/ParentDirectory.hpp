// The folder an item lies in, held open and reached from a trusted anchor without following any link,
// plus the item's name in it and what the item is: every removal acts on that name relative to the
// descriptor, so a link planted on the way (or as the item itself) is never followed.
#pragma once

#include "Platform/RemovalTarget.hpp"
#include "Platform/UniqueFd.hpp"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace velmora {

struct ParentDirectoryError {
    enum class Kind {
        invalidPath,  // not absolute, no last name, "." or ".." in it, or "/" itself
        linkOnTheWay, // a folder between the anchor and the item is a symbolic link; it is not followed
        changed,      // the item is not the object the target recorded
        system,       // opening a folder or examining the item failed; `code` says why (ENOENT: gone)
    };
    Kind kind = Kind::system;
    int code = 0; // errno for `system`, otherwise 0
};

struct ParentDirectory {
    UniqueFd fd;           // the folder, opened O_RDONLY|O_DIRECTORY|O_CLOEXEC
    std::string name;      // the item's last path component (raw bytes, never empty, never "." or "..")
    struct stat status {}; // of the item itself (a link as the link), examined through `fd`

    // Opens the folder of `target.path` by walking down from the target's anchor, then examines the
    // item in it; when the target records an identity, the item must still have it (device, inode,
    // kind, birth time), else `changed`. On Linux the kernel walks in one call where it can (openat2
    // with RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH), elsewhere and as its fallback one openat with
    // O_NOFOLLOW | O_DIRECTORY per component. Trailing slashes are ignored: "/a/b/" names "b" in "/a",
    // never what a link "b" points to. Thread-safe; the descriptor belongs to the caller.
    static std::expected<ParentDirectory, ParentDirectoryError> open(const RemovalTarget& target);

    // Opens the folder `folder` (absolute) the same way from `anchor` (not above it: from "/"). With
    // `makeMissing`, a folder missing on the way is made with that mode. Thread-safe.
    static std::expected<UniqueFd, ParentDirectoryError>
    openFolder(const std::filesystem::path& anchor, const std::filesystem::path& folder,
               std::optional<mode_t> makeMissing = std::nullopt);

    // Whether the kernel may do the walk in one call (on by default). Tests switch it off to run the
    // component walk, the only one macOS has, on Linux too.
    static void allowKernelWalk(bool allowed);
};

} // namespace velmora
