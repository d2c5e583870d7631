// TeX Live installs each yearly release beside the last one (/usr/local/texlive/2023, 2024 …) and
// never removes the old ones. Every year folder older than the newest is offered.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class TexLiveScanner : public Scanner {
public:
    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
