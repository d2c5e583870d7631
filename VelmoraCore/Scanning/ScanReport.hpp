// The result of a scan: what was found, and which scanners did not deliver (and why, in German).
#pragma once

#include "Findings/Finding.hpp"

#include <string>
#include <vector>

namespace velmora {

struct ScanFailure {
    std::string scannerID;
    std::string message;

    bool operator==(const ScanFailure&) const = default;
};

struct ScanReport {
    std::vector<Finding> findings;
    std::vector<ScanFailure> failures;
};

} // namespace velmora
