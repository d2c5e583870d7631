// Log files in /Library/Logs (macOS) untouched for 30 days, each removed through the administrator script.
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class OldSystemLogsScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
