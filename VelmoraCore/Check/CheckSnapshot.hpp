// One automatic check condensed: what was cleanable, how full the start volume was, the size of every
// finding, the orphaned services, and the alerts the check raised.
#pragma once

#include "Check/CheckAlert.hpp"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmora {

struct CheckSnapshot {
    std::chrono::system_clock::time_point date;
    std::int64_t cleanableTotal = 0;
    std::int64_t freeBytes = 0;
    std::int64_t totalBytes = 0;
    std::map<std::string, std::int64_t> sizes; // by finding identifier text
    std::map<std::string, std::string> titles; // by finding identifier text
    std::vector<CheckAlert> alerts;
    std::set<std::string> lowerBoundIDs;                           // sizes that are only a lower bound
    std::optional<std::vector<std::string>> orphanedServiceLabels; // absent: services not examined

    bool operator==(const CheckSnapshot&) const = default;
};

// Dates are seconds since 2001-01-01 00:00:00 UTC as a floating-point number, as the Mac version writes.
double referenceDateSeconds(std::chrono::system_clock::time_point date);
std::chrono::system_clock::time_point fromReferenceDateSeconds(double seconds);

void to_json(nlohmann::json& j, const CheckSnapshot& snapshot);
// "lowerBoundIDs" and "orphanedServiceLabels" may be missing (older files).
void from_json(const nlohmann::json& j, CheckSnapshot& snapshot);

} // namespace velmora
