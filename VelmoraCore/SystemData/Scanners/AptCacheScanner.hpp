// The .deb packages APT keeps after installing them, cleared with "apt-get clean".
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

class AptCacheScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
