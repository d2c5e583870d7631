// The result of a scan: what was found, and which scanners did not deliver (and why, in German).
#pragma once

#include "Findings/Finding.hpp"
#include "Scanning/BigChunk.hpp"
#include "Scanning/PhotosInfo.hpp"

#include <optional>
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
    // Taken from the findings of the big-folder and photos scanners once every phase has run.
    std::vector<BigChunk> bigChunks = {};
    std::optional<PhotosInfo> photos = {};
};

} // namespace velmora
