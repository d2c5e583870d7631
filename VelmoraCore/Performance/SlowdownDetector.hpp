// Turns conditions that have lasted for minutes into hints: an app busy on the processor, memory
// pressure, swap that grows fast. A spike never makes a hint; each condition has to persist.
#pragma once

#include "Performance/ActivityEntry.hpp"
#include "Performance/SlowdownHint.hpp"
#include "Performance/SystemSample.hpp"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

// Used by one sampling loop at a time; it holds only its timers and needs no locking.
class SlowdownDetector {
public:
    using TimePoint = std::chrono::system_clock::time_point;

    static constexpr double cpuThreshold = 80.0;              // percent of one core, strictly above
    static constexpr std::chrono::seconds sustained{180};     // how long a condition must last
    static constexpr std::chrono::seconds maxGap{30};         // a longer pause restarts every timer
    static constexpr int raisedPressure = 2;                  // warning; 4 is critical
    static constexpr std::int64_t swapGrowth = 1'000'000'001; // strictly more than 1 GB
    static constexpr const char* memoryHintID = "memory";
    static constexpr const char* swapHintID = "swap";

    // One measurement: the app rows, the system sample and when they were taken. Returns the hints
    // for the processor (in the order of `entries`), then memory, then swap.
    std::vector<SlowdownHint> update(const std::vector<ActivityEntry>& entries, const SystemSample& system,
                                     TimePoint now);

private:
    struct SwapReading {
        TimePoint at;
        std::int64_t bytes;
    };

    std::map<std::string, TimePoint> cpuSince_;
    std::optional<TimePoint> pressureSince_;
    std::deque<SwapReading> swapSamples_;
    std::optional<TimePoint> lastUpdate_;
};

} // namespace velmora
