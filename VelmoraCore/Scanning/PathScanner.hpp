// The generic scanner behind most findings: resolves one PathRule's patterns, filters, measures and
// groups the matches into at most one finding.
#pragma once

#include "Scanning/PathRule.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class PathScanner : public Scanner {
public:
    explicit PathScanner(PathRule rule) : rule_(std::move(rule)) {}

    std::string id() const override { return rule_.id; }
    ScannerPhase phase() const override { return ScannerPhase::specific; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    const PathRule& rule() const { return rule_; }

    // What removal will run, shown before it: "rm -rf <quoted paths>" for delete, "In den Papierkorb:
    // <paths>" for trash, the command line for a tool; nothing for other methods.
    static std::optional<std::string> commandPreview(const RemovalMethod& method,
                                                     const std::vector<FindingItem>& items);

    // The finding of a rule with these items: the rule's texts, risk, method and blocking apps, the
    // items' total size and the command preview; its items can be chosen one by one only for perMatch rules.
    static Finding findingFor(const PathRule& rule, std::vector<FindingItem> items);

    // The display name of a match.
    static std::string displayName(const std::filesystem::path& match, MatchName rule);

    struct Resolution {
        std::vector<std::filesystem::path> matches;
        bool permissionDenied = false; // some folder on the way could not be read for lack of rights
    };
    // Resolves the patterns below `start` in rule order; symbolic links are never followed and never matched.
    static Resolution resolve(const std::filesystem::path& start, const std::vector<std::string>& patterns,
                              const std::vector<std::string>& excludeNames);

private:
    PathRule rule_;
};

// The creation date an Xcode archive records in its Info.plist, if it can be read.
std::optional<std::chrono::system_clock::time_point>
xcodeArchiveCreationDate(const std::filesystem::path& archive);

} // namespace velmora
