// A folder's tree split into the entries that have to stay (their name says so, and with them every
// folder on their way) and the largest whole parts around them that may go – read through descriptors,
// never through a link, so that a removal can take everything but what must stay.
#pragma once

#include "Platform/FileIdentity.hpp"
#include "Platform/ParentDirectory.hpp"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace velmora {

struct TreeSplitError {
    std::filesystem::path where; // the folder that could not be read, relative to the split folder
    int code = 0;                // errno
};

struct TreeSplit {
    struct Part {
        std::filesystem::path relative; // below the split folder
        FileIdentity identity;          // what it was when the tree was read
    };
    std::vector<Part> removable;             // whole entries that hold nothing that stays, in walk order
    std::vector<std::filesystem::path> kept; // entries that stay by their name, relative, in walk order
    std::int64_t keptBytes = 0;              // allocated bytes of the kept entries themselves

    // Splits the folder `item` (opened and examined by ParentDirectory::open) by `stays`, which sees
    // each name below it. A folder that cannot be read, or lies deeper than a few dozen levels, fails
    // the split: what it holds is unknown, so nothing may be decided about it.
    static std::expected<TreeSplit, TreeSplitError> of(const ParentDirectory& item,
                                                       const std::function<bool(std::string_view)>& stays);
};

} // namespace velmora
