// The one-shot latch that settles one scanner run: whichever comes first, the scanner's result or its
// time-out, decides; everything later is dropped.
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <expected>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora {

using ScanOutcome = std::expected<std::vector<Finding>, ScanError>;

class Gate {
public:
    // `onSettled` runs once, outside the gate's lock, after the outcome was decided.
    explicit Gate(std::function<void()> onSettled = {}) : onSettled_(std::move(onSettled)) {}

    // Decides the outcome unless it is already decided; returns whether this call decided it. The
    // scanner is then told to stop (it may still be running after a time-out).
    bool settle(ScanOutcome outcome);

    bool isDone() const;
    // The decided outcome; nothing while the gate is open.
    std::optional<ScanOutcome> result() const;

    // The token the scanner runs under; triggered once the gate is settled.
    StopToken scannerStopToken() const { return scannerStop_.get_token(); }

private:
    mutable std::mutex mutex_;
    std::optional<ScanOutcome> result_;
    bool done_ = false;
    StopSource scannerStop_;
    std::function<void()> onSettled_;
};

} // namespace velmora
