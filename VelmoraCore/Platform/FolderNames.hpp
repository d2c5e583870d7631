// Reading the names in a folder that is already open, for the walks that work through descriptors
// (tree deletion, splitting a tree around entries that must stay).
#pragma once

#include <expected>
#include <string>
#include <vector>

namespace velmora {

// All names in the open folder `fd` except "." and "..", or the errno of a failed read. The
// descriptor stays open and its owner's. Thread-safe.
std::expected<std::vector<std::string>, int> folderNames(int fd);

} // namespace velmora
