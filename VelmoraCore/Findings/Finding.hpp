// One finding as a scan reports it and the views show it. Not encoded as a whole; its identifier,
// items and method are.
#pragma once

#include "Findings/AppRef.hpp"
#include "Findings/Category.hpp"
#include "Findings/FindingID.hpp"
#include "Findings/FindingItem.hpp"
#include "Findings/RemovalMethod.hpp"
#include "Findings/Risk.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct Finding {
    FindingID id;
    Category category = Category::system;
    std::string title;
    std::string summary;
    Risk risk = Risk::review;
    RemovalMethod method = RemovalMethod::trash();
    std::vector<FindingItem> items;
    std::optional<std::int64_t> size;
    std::vector<AppRef> blockingApps;
    std::vector<AppRef> watchedApps;
    bool keepSuggested = false;
    std::optional<std::string> commandPreview;
    bool needsFullDiskAccess = false;
    // False when the items only make sense together: the finding is then removed whole or not at all.
    bool itemsSelectable = true;

    bool operator==(const Finding&) const = default;
};

} // namespace velmora
