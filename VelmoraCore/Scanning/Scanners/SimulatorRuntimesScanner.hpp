// Simulator runtimes that no simulator uses. A tool command removes one runtime as a whole, so each
// runtime is a finding of its own (keyed by the runtime image's id) with the one item it removes.
#pragma once

#include "Scanning/Scanner.hpp"

namespace velmora {

class SimulatorRuntimesScanner : public Scanner {
public:
    std::string id() const override { return "sim.runtimes"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
