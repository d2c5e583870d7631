// Linux kernels that stay installed after updates: every kernel with a modules folder besides the
// running one and the newest. Only the package manager may remove them, so this is a hint.
#pragma once

#include "Scanning/Scanner.hpp"

#include <string_view>

namespace velmora {

class OldKernelsScanner : public Scanner {
public:
    std::string id() const override { return "system.oldKernels"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // Orders kernel releases as their numbers do ("6.1.0-9" before "6.1.0-10"): runs of digits by
    // value, everything else byte by byte.
    static bool olderRelease(std::string_view a, std::string_view b);
};

} // namespace velmora
