// Decides which alerts a check raises by comparing its snapshot with the previous one.
#pragma once

#include "Check/CheckSnapshot.hpp"

#include <optional>
#include <vector>

namespace velmora::GrowthWatcher {

inline constexpr std::int64_t absoluteGrowth = 5'000'000'000; // always worth an alert
inline constexpr std::int64_t doublingGrowth = 2'000'000'000; // worth one when the size more than doubled
inline constexpr std::int64_t lowFreeSpace = 20'000'000'000;
inline constexpr std::int64_t muchCleanable = 1'000'000'000;

// Growth (newest biggest first), new orphaned services, low space, much cleanable – in that order.
std::vector<CheckAlert> alerts(const std::optional<CheckSnapshot>& previous, const CheckSnapshot& current);

} // namespace velmora::GrowthWatcher
