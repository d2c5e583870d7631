#include "Scanning/PathExplainer.hpp"

#include "Scanning/PathClaims.hpp"

#include <algorithm>
#include <cerrno>
#include <fnmatch.h>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;
using Components = std::vector<std::string>;

Components splitPattern(std::string_view pattern) {
    Components parts;
    for (std::size_t start = 0; start <= pattern.size();) {
        const auto slash = std::min(pattern.find('/', start), pattern.size());
        if (slash > start)
            parts.emplace_back(pattern.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

// Whether the components below a rule's base begin with a match of the pattern, judged the way the
// path scanner lists: a wildcard component skips hidden names unless it asks for them, and excluded
// names; a plain component must be spelled exactly.
bool patternCovers(const Components& pattern, const Components& below,
                   const std::vector<std::string>& excluded) {
    if (pattern.empty() || below.size() < pattern.size())
        return false;
    for (std::size_t index = 0; index < pattern.size(); ++index) {
        const auto& part = pattern[index];
        const auto& name = below[index];
        if (part.find('*') == std::string::npos) {
            if (name != part)
                return false;
            continue;
        }
        if ((name.starts_with('.') && !part.starts_with('.')) ||
            std::ranges::find(excluded, name) != excluded.end() ||
            ::fnmatch(part.c_str(), name.c_str(), 0) != 0)
            return false;
    }
    return true;
}

// The components of `path` below `base`, or nothing when it does not lie there.
std::optional<Components> below(const Components& path, const fs::path& base) {
    if (base.empty())
        return std::nullopt;
    const auto baseParts = PathClaims::standardComponents(base);
    if (baseParts.size() > path.size() || !std::equal(baseParts.begin(), baseParts.end(), path.begin()))
        return std::nullopt;
    return Components(path.begin() + static_cast<std::ptrdiff_t>(baseParts.size()), path.end());
}

fs::path baseFolder(PathBase base, const ScanContext& context) {
    switch (base) {
    case PathBase::home:
        return context.home;
    case PathBase::userCache:
        return context.userCacheDir;
    case PathBase::absolute:
        return context.rootPrefix;
    case PathBase::pnpmHome:
        return context.pnpmHome;
    }
    return {};
}

// The first pattern of the rule that matches the path or one of its ancestors, below its base folder.
std::optional<std::string> matchingPattern(const PathRule& rule, const Components& path,
                                           const ScanContext& context) {
    const std::pair<fs::path, const std::vector<std::string>*> groups[] = {
        {baseFolder(rule.base, context), &rule.patterns},
        {context.userCacheDir, &rule.userCachePatterns},
    };
    for (const auto& [base, patterns] : groups) {
        const auto rest = below(path, base);
        if (!rest)
            continue;
        for (const auto& pattern : *patterns)
            if (patternCovers(splitPattern(pattern), *rest, rule.excludeNames))
                return (base / fs::path(pattern).relative_path()).string();
    }
    return std::nullopt;
}

// Lexically tidied, without a trailing slash (which would make lstat follow a link).
fs::path tidy(const fs::path& path) {
    auto clean = path.lexically_normal();
    if (!clean.has_filename() && clean.has_relative_path())
        clean = clean.parent_path();
    return clean;
}

PathPresence presenceOf(const fs::path& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0)
        return S_ISLNK(st.st_mode) ? PathPresence::symbolicLink : PathPresence::present;
    return errno == ENOENT || errno == ENOTDIR ? PathPresence::missing : PathPresence::unknown;
}

// The findings with items strictly below `path`, largest first.
std::vector<ClaimInside> claimsInside(const fs::path& path, const ScanReport& report) {
    const auto parts = PathClaims::standardComponents(path);
    std::vector<ClaimInside> inside;
    for (const auto& finding : report.findings) {
        ClaimInside part{finding.id, finding.title, 0, std::nullopt};
        for (const auto& item : finding.items) {
            if (!item.url)
                continue;
            const auto itemParts = PathClaims::standardComponents(*item.url);
            if (itemParts.size() <= parts.size() ||
                !std::equal(parts.begin(), parts.end(), itemParts.begin()))
                continue;
            ++part.items;
            if (item.size)
                part.size = part.size.value_or(0) + *item.size;
        }
        if (part.items > 0)
            inside.push_back(std::move(part));
    }
    std::ranges::stable_sort(inside, std::greater{},
                             [](const ClaimInside& part) { return part.size.value_or(-1); });
    return inside;
}

} // namespace

std::vector<std::string> PathExplainer::coveringRules(const fs::path& path,
                                                      const ScanContext& context) const {
    const auto parts = PathClaims::standardComponents(tidy(path));
    std::vector<std::string> ids;
    for (const auto& rule : services_.rules)
        if (matchingPattern(rule, parts, context))
            ids.push_back(rule.id);
    return ids;
}

std::vector<PathExplanation> PathExplainer::explain(const std::vector<fs::path>& paths,
                                                    StopToken stop) const {
    std::vector<PathExplanation> result(paths.size());
    const auto context = services_.makeContext();
    const auto guard = services_.guard ? services_.guard : context.safety;
    const auto& all = services_.engine->scanners();

    // The nearest claimed item at or above the path in a report, as the engine's claims would find it.
    const auto claimFrom = [&](PathExplanation& explanation, const ScanReport& report) {
        const auto parts = PathClaims::standardComponents(explanation.path);
        const Finding* bestFinding = nullptr;
        const FindingItem* bestItem = nullptr;
        std::size_t bestDepth = 0;
        for (const auto& finding : report.findings)
            for (const auto& item : finding.items) {
                if (!item.url)
                    continue;
                const auto itemParts = PathClaims::standardComponents(*item.url);
                if (itemParts.size() > parts.size() || itemParts.size() <= bestDepth ||
                    !std::equal(itemParts.begin(), itemParts.end(), parts.begin()))
                    continue;
                bestFinding = &finding;
                bestItem = &item;
                bestDepth = itemParts.size();
            }
        if (!bestFinding)
            return false;
        PathClaim claim;
        claim.findingID = bestFinding->id;
        claim.title = bestFinding->title;
        claim.risk = bestFinding->risk;
        claim.method = bestFinding->method;
        claim.item = *bestItem;
        const auto rule = std::ranges::find(services_.rules, bestFinding->id.scannerID, &PathRule::id);
        claim.fromRule = rule != services_.rules.end();
        if (claim.fromRule)
            claim.pattern = matchingPattern(*rule, PathClaims::standardComponents(*bestItem->url), context);
        claim.kept = services_.keepList && services_.keepList->contains(bestFinding->id);
        explanation.claim = std::move(claim);
        return true;
    };

    std::vector<std::vector<std::string>> covering(paths.size());
    std::vector<std::shared_ptr<Scanner>> quick;
    for (std::size_t index = 0; index < paths.size(); ++index) {
        auto& explanation = result[index];
        explanation.path = tidy(paths[index]);
        explanation.guard = guard ? guard->verdict(explanation.path)
                                  : SafetyVerdict::denied(std::string(SafetyReason::invalidConfiguration));
        if (!explanation.path.is_absolute()) {
            explanation.examined = false;
            continue;
        }
        explanation.presence = presenceOf(explanation.path);
        // Only a rule whose scanner runs first in a scan answers alone: later phases depend on claims.
        for (const auto& id : coveringRules(explanation.path, context)) {
            const auto scanner = std::ranges::find_if(
                all, [&](const auto& s) { return s->id() == id && s->phase() == ScannerPhase::specific; });
            if (scanner == all.end())
                continue;
            covering[index].push_back(id);
            if (std::ranges::find(quick, *scanner) == quick.end())
                quick.push_back(*scanner);
        }
    }

    std::vector<std::size_t> unanswered;
    if (!quick.empty()) {
        const auto report = ScanEngine(quick, services_.engine->perScannerTimeout()).run(context, stop);
        for (std::size_t index = 0; index < paths.size(); ++index) {
            if (covering[index].empty() || claimFrom(result[index], report))
                continue;
            for (const auto& failure : report.failures)
                if (std::ranges::find(covering[index], failure.scannerID) != covering[index].end())
                    result[index].failures.push_back(failure);
        }
    }
    for (std::size_t index = 0; index < paths.size(); ++index)
        if (result[index].examined && !result[index].claim)
            unanswered.push_back(index);
    if (unanswered.empty())
        return result;

    const auto report = services_.engine->run(services_.makeContext(), stop);
    for (const auto index : unanswered) {
        auto& explanation = result[index];
        explanation.failures.clear();
        if (claimFrom(explanation, report))
            continue;
        explanation.failures = report.failures;
        explanation.inside = claimsInside(explanation.path, report);
        // A scan stopped early leaves out whole phases without a failure for them.
        if (stop.stop_requested())
            explanation.examined = false;
    }
    return result;
}

} // namespace velmora
