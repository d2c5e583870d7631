// A finding's size as a rule: the sum of its items' sizes, an item of unknown size counting 0.
#pragma once

#include "Findings/FindingItem.hpp"

#include <cstdint>
#include <vector>

namespace velmora {

inline std::int64_t itemsTotal(const std::vector<FindingItem>& items) {
    std::int64_t total = 0;
    for (const auto& item : items)
        total += item.size.value_or(0);
    return total;
}

} // namespace velmora
