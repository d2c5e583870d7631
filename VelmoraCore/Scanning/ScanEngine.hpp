// Runs every scanner of a scan phase by phase, each under its own time limit, and gathers one report.
#pragma once

#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanReport.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class ScanEngine {
public:
    // Called on the thread that runs the scan with the share of settled scanners, 0…1, never decreasing.
    using Progress = std::function<void(double)>;

    ScanEngine(std::vector<std::shared_ptr<Scanner>> scanners, std::chrono::nanoseconds perScannerTimeout)
        : scanners_(std::move(scanners)), perScannerTimeout_(perScannerTimeout) {}

    // Never fails: every scanner error becomes a ScanFailure. A scanner that runs past its limit is
    // reported, told to stop and abandoned, never waited for. When `stop` is requested, scanners still
    // running are told to stop, reported as cancelled, and later phases do not run.
    ScanReport run(const ScanContext& context, StopToken stop = {}, const Progress& progress = {}) const;

    const std::vector<std::shared_ptr<Scanner>>& scanners() const { return scanners_; }
    std::chrono::nanoseconds perScannerTimeout() const { return perScannerTimeout_; }

    // "Zeitüberschreitung nach N s", N the limit in whole seconds rounded up, at least 1.
    static std::string timeoutMessage(std::chrono::nanoseconds timeout);
    static constexpr const char* cancelledMessage = "Abgebrochen";

    // The scanners whose findings the report also carries in its own fields.
    static constexpr const char* bigChunksScannerID = "personal.bigChunks";
    static constexpr const char* photosScannerID = "personal.photos";
    // Fills bigChunks (the big-folder finding's items, in order) and photos (the photos finding's one
    // item: the library and its size) from the report's findings.
    static void summarise(ScanReport& report);

private:
    std::vector<std::shared_ptr<Scanner>> scanners_;
    std::chrono::nanoseconds perScannerTimeout_;
};

} // namespace velmora
