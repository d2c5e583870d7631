// The system calls both Trash layouts are built from, wrapped once so that each returns a value or a
// TrashError and no caller reads errno: locating the item (still the recorded object, reached without
// following a link), opening Trash folders likewise, and a rename that never replaces what is already
// in the Trash.
#pragma once

#include "Platform/ParentDirectory.hpp"
#include "Platform/Trash.hpp"
#include "Platform/UniqueFd.hpp"

#include <expected>
#include <filesystem>
#include <sys/stat.h>
#include <sys/types.h>

namespace velmora::TrashPrimitives {

// Opens the item's folder and examines the item (see ParentDirectory::open); fails with notFound when
// the item is gone, with changed when it is not the recorded object.
std::expected<ParentDirectory, TrashError> locate(const RemovalTarget& item);

// Opens the folder `folder` below `anchor` (see ParentDirectory::openFolder), making what is missing
// with mode 0700; a link on the way is refused with unsafeLocation.
std::expected<UniqueFd, TrashError> openOrMakeFolders(const std::filesystem::path& anchor,
                                                      const std::filesystem::path& folder);

// Fails with otherVolume unless the folder `trashFd` lies on the same file system as the item.
std::expected<void, TrashError> requireSameVolume(const ParentDirectory& item, int trashFd);

// Renames `fromName` in `fromFd` to `toName` in `toFd`, but only if `toName` does not exist yet;
// returns 0 or the errno (EEXIST when the name is taken, EXDEV across file systems).
int renameWithoutReplacing(int fromFd, const char* fromName, int toFd, const char* toName);

// The error for a failed rename of `item`: otherVolume for EXDEV, notFound when the item is gone,
// the system's reason otherwise.
TrashError moveFailure(const ParentDirectory& item, int code);

} // namespace velmora::TrashPrimitives
