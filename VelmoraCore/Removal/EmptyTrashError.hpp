// Why the Trash could not be emptied: the platform refused to let us steer the Finder, or anything
// else with a German text for the error banner.
#pragma once

#include <string>

namespace velmora {

struct EmptyTrashError {
    enum class Kind { failed, automationDenied };
    Kind kind = Kind::failed;
    std::string message; // only for `failed`

    bool operator==(const EmptyTrashError&) const = default;
};

} // namespace velmora
