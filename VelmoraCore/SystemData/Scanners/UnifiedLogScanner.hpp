// The unified log of macOS (diagnostics and uuidtext), erased as a whole with "log erase --all".
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class UnifiedLogScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
