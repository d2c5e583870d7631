// What software updates left in /Library/Updates (macOS). The guard protects the folder, so this is
// usually a hint.
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class UpdateLeftoversScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
