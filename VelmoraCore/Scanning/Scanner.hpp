// What every scanner provides: an identifier, a phase, and a scan that turns a context into findings.
#pragma once

#include "Findings/Finding.hpp"
#include "Scanning/ScannerPhase.hpp"
#include "Support/StopToken.hpp"

#include <expected>
#include <string>
#include <vector>

namespace velmora {

struct ScanContext;

// A scanner that could not deliver; the message is German and shown to the user.
struct ScanError {
    std::string message;
};

class Scanner {
public:
    virtual ~Scanner() = default;

    virtual std::string id() const = 0;
    virtual ScannerPhase phase() const { return ScannerPhase::specific; }

    // Runs on a thread of its own. A scanner that is told to stop (time-out or cancellation) should
    // return soon; its result is ignored by then. It must not throw; errors are returned.
    virtual std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context,
                                                                StopToken stop) = 0;
};

} // namespace velmora
