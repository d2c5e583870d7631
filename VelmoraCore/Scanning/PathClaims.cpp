#include "Scanning/PathClaims.hpp"

#include <algorithm>

namespace velmora {

namespace {

bool startsWith(const std::vector<std::string>& path, const std::vector<std::string>& prefix) {
    return prefix.size() <= path.size() && std::equal(prefix.begin(), prefix.end(), path.begin());
}

} // namespace

std::vector<std::string> PathClaims::standardComponents(const std::filesystem::path& location) {
    std::vector<std::string> parts;
    for (const auto& part : location.lexically_normal()) {
        const auto text = part.string();
        if (text.empty() || text == "." || text == "/")
            continue;
        if (text == "..") {
            if (!parts.empty())
                parts.pop_back();
            continue;
        }
        parts.push_back(text);
    }
    return parts;
}

void PathClaims::claim(const std::vector<std::filesystem::path>& locations) {
    std::vector<std::vector<std::string>> added;
    added.reserve(locations.size());
    for (const auto& location : locations)
        added.push_back(standardComponents(location));
    std::lock_guard lock(mutex_);
    for (auto& parts : added)
        claimed_.push_back(std::move(parts));
}

bool PathClaims::isClaimed(const std::filesystem::path& location) const {
    const auto parts = standardComponents(location);
    std::lock_guard lock(mutex_);
    return std::ranges::any_of(claimed_, [&](const auto& prefix) { return startsWith(parts, prefix); });
}

std::vector<std::vector<std::string>> PathClaims::claimed() const {
    std::lock_guard lock(mutex_);
    return claimed_;
}

std::int64_t PathClaims::reportedBytes(const std::filesystem::path& folder,
                                       const std::vector<Finding>& findings) {
    const auto folderParts = standardComponents(folder);
    std::int64_t total = 0;
    for (const auto& finding : findings)
        for (const auto& item : finding.items)
            if (item.url && startsWith(standardComponents(*item.url), folderParts))
                total += item.size.value_or(0);
    return total;
}

} // namespace velmora
