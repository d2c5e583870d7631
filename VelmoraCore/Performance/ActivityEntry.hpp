// One row of the activity list: an app (or a lone process) with the processes that belong to it.
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

struct ActivityEntry {
    std::string id;          // stable across samples: the app's bundle id or path, else the executable
    std::string name;        // shown to the user
    double cpuPercent = 0;   // percent of one core, summed over the app's processes
    std::int64_t memory = 0; // resident bytes, summed
    bool isSystem = false;   // part of the operating system
    bool canQuit = false;    // an ordinary app of the user (never Velmora itself)

    bool operator==(const ActivityEntry&) const = default;
};

} // namespace velmora
