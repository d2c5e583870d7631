// Xcode apps in /Applications beside the one `xcode-select -p` names. Which Xcode is in use is only
// known from that answer: when it cannot be had, nothing is offered.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class XcodeVersionsScanner : public Scanner {
public:
    std::string id() const override { return "xcode.versions"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
