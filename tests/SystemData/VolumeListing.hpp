// A list of volumes as one line ("/ system 9, /boot preboot 1"), so expectations stay short and a
// failure shows every volume readably.
#pragma once

#include "SystemData/APFSVolume.hpp"

#include <string>
#include <vector>

namespace velmora::test {

inline std::string listed(const std::vector<APFSVolume>& volumes) {
    std::string text;
    for (const auto& volume : volumes)
        text += (text.empty() ? "" : ", ") + volume.name + " " + std::string(rawValue(volume.role)) + " " +
                std::to_string(volume.consumed);
    return text;
}

} // namespace velmora::test
