// Where a Trash move put an item, and what it was, so that only that object is ever put back.
#pragma once

#include "Platform/FileIdentity.hpp"

#include <filesystem>
#include <optional>

namespace velmora {

struct TrashPlacement {
    // The entry in the Trash as a real path: macOS ~/.Trash/<name>, Linux <Trash>/files/<name>.
    std::filesystem::path entry;
    // Linux: <Trash>/info/<name>.trashinfo; nothing on macOS.
    std::optional<std::filesystem::path> info;
    // The moved object (a rename keeps device and inode).
    FileIdentity identity;

    bool operator==(const TrashPlacement&) const = default;
};

} // namespace velmora
