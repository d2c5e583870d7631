// The result of loading the services list: every launch item and login item, and whether the login
// items could not be read (then the list holds none, and the view says so).
#pragma once

#include "Services/LaunchItem.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ServicesLoad {
    std::vector<LaunchItem> items;
    bool loginItemsFailed = false;
    // By item id: why that service may not be removed. An id without an entry may be removed.
    std::map<std::string, std::string> blockReasons = {};

    bool operator==(const ServicesLoad&) const = default;
};

inline constexpr std::string_view loginItemsFailedText = "Die Anmeldeobjekte konnten nicht gelesen werden.";

} // namespace velmora
