// One look at the whole machine: processor load, memory and its pressure, swap.
#pragma once

#include <cstdint>

namespace velmora {

struct SystemSample {
    double cpuPercent = 0;        // busy share of all cores together since the previous sample, 0…100
    unsigned cpuCount = 0;        // logical processors
    std::int64_t memoryUsed = 0;  // bytes
    std::int64_t memoryTotal = 0; // bytes
    int pressureLevel = 1;        // as macOS reports it: 1 normal, 2 warning, 4 critical
    std::int64_t swapUsed = 0;    // bytes
    std::int64_t swapTotal = 0;   // bytes

    bool operator==(const SystemSample&) const = default;
};

} // namespace velmora
