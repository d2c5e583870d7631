// Old log files: every regular file below ~/Library/Logs that has not changed for the rule's minimum
// age. Files, not folders, are the items, because a folder that still receives new logs must stay.
#pragma once

#include "Scanning/PathRule.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class OldLogsScanner : public Scanner {
public:
    explicit OldLogsScanner(PathRule rule) : rule_(std::move(rule)) {}

    std::string id() const override { return rule_.id; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

private:
    PathRule rule_;
};

} // namespace velmora
