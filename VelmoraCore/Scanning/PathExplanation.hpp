// Why Velmora would (or would not) touch one path: the finding that claims it or its nearest claimed
// ancestor, where that finding comes from, the safety guard's verdict and whether the finding is kept.
#pragma once

#include "Findings/FindingID.hpp"
#include "Findings/FindingItem.hpp"
#include "Findings/RemovalMethod.hpp"
#include "Findings/Risk.hpp"
#include "Safety/SafetyVerdict.hpp"
#include "Scanning/ScanReport.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// What lies at the path itself; links are never followed, so a link is explained as the link.
enum class PathPresence { present, symbolicLink, missing, unknown };

constexpr std::string_view rawValue(PathPresence presence) {
    switch (presence) {
    case PathPresence::present:
        return "present";
    case PathPresence::symbolicLink:
        return "symbolicLink";
    case PathPresence::missing:
        return "missing";
    case PathPresence::unknown:
        return "unknown";
    }
    return {};
}

struct PathClaim {
    FindingID findingID;
    std::string title;
    Risk risk = Risk::review;
    RemovalMethod method = RemovalMethod::trash();
    // The item that covers the path: the path itself or the nearest ancestor some finding reported.
    FindingItem item;
    // Where the finding comes from: the path rule with the finding's scanner id (and the pattern that
    // matched the item, as a path below the rule's base folder) or, without `fromRule`, the
    // specialised scanner of that id.
    bool fromRule = false;
    std::optional<std::string> pattern;
    bool kept = false;

    bool operator==(const PathClaim&) const = default;
};

// A finding that claims something below an unclaimed folder: the folder itself is not suggested, but
// this part of it is.
struct ClaimInside {
    FindingID findingID;
    std::string title;
    std::size_t items = 0;            // items of the finding below the folder
    std::optional<std::int64_t> size; // their known sizes added up; nothing when none is known

    bool operator==(const ClaimInside&) const = default;
};

struct PathExplanation {
    std::filesystem::path path;
    PathPresence presence = PathPresence::unknown;
    std::optional<PathClaim> claim;
    SafetyVerdict guard = SafetyVerdict::denied("");
    // Scanners that should have answered for this path but did not (time-out, error, cancellation):
    // without a claim, "no finding" is then not certain.
    std::vector<ScanFailure> failures;
    // Without a claim: the findings that claim items below the path, largest first.
    std::vector<ClaimInside> inside;
    // False when the path could not be examined (not absolute, or the scan was stopped before it
    // answered): only the guard did.
    bool examined = true;

    // The size of the claimed item, when known.
    std::optional<std::int64_t> size() const { return claim ? claim->item.size : std::nullopt; }
    // No claim, and nothing failed that could have made one.
    bool isSurelyUnclaimed() const { return !claim && examined && failures.empty(); }

    bool operator==(const PathExplanation&) const = default;
};

// "trash", "delete", "tool", "admin" or "hint": the case name of the method's own coding.
std::string methodKindName(const RemovalMethod& method);

// {"path", "findingID" (null when nothing claims the path), "title", "risk", "method" (the kind name),
// "guard": {"allowed", "reason"}, "kept", "size", "item": {"id", "path", "name"}, "source": {"rule",
// "pattern"} or {"scanner"}, "presence", "examined", "failures": [{"scannerID", "message"}], "inside":
// [{"findingID", "title", "items", "size"}]}; the
// claim's fields are null (and "kept" false) without a claim.
void to_json(nlohmann::json& j, const PathExplanation& explanation);

} // namespace velmora
