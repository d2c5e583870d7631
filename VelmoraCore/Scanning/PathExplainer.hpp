// Answers "why" for any path from the same rules and scanners a scan runs: a path that a path rule
// covers is answered by that rule's scanner alone, every other path by one scan with all scanners.
// Read-only; the window and the command line share it.
#pragma once

#include "Safety/KeepList.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/PathExplanation.hpp"
#include "Scanning/PathRule.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/StopToken.hpp"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class PathExplainer {
public:
    struct Services {
        std::shared_ptr<const ScanEngine> engine;
        // The rules behind the engine's path scanners (the catalog), matched to them by id.
        std::vector<PathRule> rules;
        // A fresh context for each scan the explainer runs.
        std::function<ScanContext()> makeContext;
        // Nothing: the guard the scan context carries.
        std::shared_ptr<const SafetyGuard> guard;
        std::shared_ptr<const KeepList> keepList;
    };

    explicit PathExplainer(Services services) : services_(std::move(services)) {}

    // One explanation per path, in order. Paths are real paths (below the root prefix, as scanners
    // report them), taken lexically: "." and ".." are folded, links are never followed. A path no
    // rule covers, or that its covering rules do not claim, is answered by one scan with every
    // scanner, shared by all such paths. When `stop` is requested, unanswered paths carry the
    // cancelled scanners as failures.
    std::vector<PathExplanation> explain(const std::vector<std::filesystem::path>& paths,
                                         StopToken stop = {}) const;

    // The ids of the rules one of whose patterns matches the path or an ancestor of it, in rule order.
    std::vector<std::string> coveringRules(const std::filesystem::path& path,
                                           const ScanContext& context) const;

private:
    Services services_;
};

} // namespace velmora
