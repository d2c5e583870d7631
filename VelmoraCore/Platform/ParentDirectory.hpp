// The folder an item lies in, held open, plus the item's name in it: every removal acts on that name
// relative to the descriptor, so a symbolic link as the item is handled as the link itself.
#pragma once

#include "Platform/UniqueFd.hpp"

#include <expected>
#include <filesystem>
#include <string>

namespace velmora {

struct ParentDirectoryError {
    enum class Kind {
        invalidPath,     // not absolute, no last name, "." or ".." in it, or "/" itself
        parentIsSymlink, // the item's folder is itself a symbolic link; it is not followed
        system,          // opening the folder failed; `code` says why (ENOENT: it is gone)
    };
    Kind kind = Kind::system;
    int code = 0; // errno for `system`, otherwise 0
};

struct ParentDirectory {
    UniqueFd fd;      // the folder, opened O_RDONLY|O_DIRECTORY|O_CLOEXEC
    std::string name; // the item's last path component (raw bytes, never empty, never "." or "..")

    // Opens the folder of `item`. The components above that folder are resolved by the system as
    // usual (the caller has vetted the whole path with the safety guard); the folder itself must not be
    // a symbolic link, so a link planted at the item's folder between vetting and acting is refused.
    // Trailing slashes are ignored: "/a/b/" names "b" in "/a", never what a link "b" points to.
    // Thread-safe; the returned descriptor belongs to the caller.
    static std::expected<ParentDirectory, ParentDirectoryError> open(const std::filesystem::path& item);
};

} // namespace velmora
