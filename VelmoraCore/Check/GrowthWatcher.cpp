#include "Check/GrowthWatcher.hpp"

#include <algorithm>

namespace velmora::GrowthWatcher {

namespace {

// A size that is only a lower bound, for itself or for its whole category, says nothing about growth.
bool isLowerBound(const std::string& id, const std::set<std::string>& lowerBounds) {
    if (lowerBounds.contains(id))
        return true;
    const auto slash = id.find('/');
    return slash != std::string::npos && lowerBounds.contains(id.substr(0, slash));
}

} // namespace

std::vector<CheckAlert> alerts(const std::optional<CheckSnapshot>& previous, const CheckSnapshot& current) {
    std::vector<CheckAlert> result;
    if (previous && !previous->sizes.empty()) {
        std::vector<CheckAlert::Growth> growth;
        for (const auto& [id, to] : current.sizes) {
            const auto before = previous->sizes.find(id);
            if (before == previous->sizes.end())
                continue;
            if (isLowerBound(id, previous->lowerBoundIDs) || isLowerBound(id, current.lowerBoundIDs))
                continue;
            const std::int64_t from = before->second;
            const std::int64_t delta = to - from;
            // Both rules compare in 64 bits; `to > 2 * from` cannot overflow for real disk sizes.
            if (delta >= absoluteGrowth || (delta >= doublingGrowth && to > 2 * from)) {
                const auto title = current.titles.find(id);
                growth.push_back({id, title == current.titles.end() ? id : title->second, from, to});
            }
        }
        std::ranges::sort(growth, [](const auto& a, const auto& b) {
            const auto da = a.to - a.from, db = b.to - b.from;
            return da != db ? da > db : a.id < b.id;
        });
        for (auto& g : growth)
            result.push_back(CheckAlert{std::move(g)});
    }
    if (previous && previous->orphanedServiceLabels) {
        const auto& before = *previous->orphanedServiceLabels;
        std::vector<std::string> added;
        for (const auto& label : current.orphanedServiceLabels.value_or(std::vector<std::string>{}))
            if (std::ranges::find(before, label) == before.end() &&
                std::ranges::find(added, label) == added.end())
                added.push_back(label);
        if (!added.empty()) {
            std::ranges::sort(added);
            result.push_back(CheckAlert{CheckAlert::OrphanedServices{std::move(added)}});
        }
    }
    if (current.totalBytes >= 1 &&
        (current.freeBytes < lowFreeSpace || current.freeBytes * 10 < current.totalBytes))
        result.push_back(CheckAlert{CheckAlert::LowSpace{current.freeBytes, current.totalBytes}});
    if (current.cleanableTotal >= muchCleanable)
        result.push_back(CheckAlert{CheckAlert::Cleanable{current.cleanableTotal}});
    return result;
}

} // namespace velmora::GrowthWatcher
