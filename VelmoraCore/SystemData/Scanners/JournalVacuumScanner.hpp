// Archived systemd journal files older than four weeks, removed with "journalctl --vacuum-time=4weeks".
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class JournalVacuumScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
