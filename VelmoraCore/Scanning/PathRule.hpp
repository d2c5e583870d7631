// A declarative rule for one kind of reclaimable data: where it lives, how matches become items,
// how risky it is and how it is removed. One PathScanner turns one rule into at most one finding.
#pragma once

#include "Findings/AppRef.hpp"
#include "Findings/Category.hpp"
#include "Findings/RemovalMethod.hpp"
#include "Findings/Risk.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

enum class PathBase { home, userCache, absolute, pnpmHome };
enum class Grouping { single, perMatch };
enum class MatchName { lastComponent, withoutExtension, huggingFace, parentComponent };
enum class ItemDate { none, xcodeArchive };

struct PathRule {
    std::string id;
    Category category = Category::system;
    std::string title;
    std::string summary;
    PathBase base = PathBase::home;
    std::vector<std::string> patterns; // "*" inside a component is a wildcard (fnmatch, no flags)
    // Patterns below the user cache folder, for rows that keep data both there and below `base`.
    std::vector<std::string> userCachePatterns;
    Risk risk = Risk::safe;
    RemovalMethod method = RemovalMethod::trash();
    std::vector<AppRef> blockingApps;
    int minAgeDays = 0;       // 0: no age filter
    std::int64_t minSize = 0; // items smaller than this are dropped
    Grouping grouping = Grouping::single;
    bool needsFullDiskAccess = false;
    std::vector<std::string> excludeNames;
    MatchName matchName = MatchName::lastComponent;
    // Files beside a matched file with the same base name and one of these extensions ("sig" for
    // "x.ipsw" → "x.sig") are listed as items of their own right after it, so that what is shown,
    // measured and removed stays the same set of files.
    std::vector<std::string> companionExtensions;
    ItemDate itemDate = ItemDate::none;
};

} // namespace velmora
