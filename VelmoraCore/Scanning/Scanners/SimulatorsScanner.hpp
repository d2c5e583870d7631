// Simulators that can no longer start because their runtime or device type is gone. simctl removes
// them all at once with their data ("simctl delete unavailable"); each is listed with its size.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class SimulatorsScanner : public Scanner {
public:
    std::string id() const override { return "sim.unavailable"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
