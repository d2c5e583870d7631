// The result of loading the services list: every launch item and login item, and whether the login
// items could not be read (then the list holds none, and the view says so).
#pragma once

#include "Services/LaunchItem.hpp"

#include <optional>
#include <vector>

namespace velmora {

struct ServicesLoad {
    std::vector<LaunchItem> items;
    bool loginItemsFailed = false;

    bool operator==(const ServicesLoad&) const = default;
};

} // namespace velmora
