// The live system sampler: processor load, memory, memory pressure and swap as the running system
// reports them.
#pragma once

#include "Performance/SystemSampler.hpp"

#include <filesystem>
#include <memory>

namespace velmora {

// Linux: /proc/stat (the "cpu" line's counters, differences between samples), /proc/meminfo (used is
// MemTotal − MemAvailable) and /proc/pressure/memory, mapped to the three levels macOS reports:
//   full avg10 ≥ 10 or some avg10 ≥ 40 → 4 (critical), some avg10 ≥ 10 → 2 (warning), else 1.
// A kernel without pressure information (no file, or switched off) reads as 1.
// macOS: host_statistics64 (processor ticks and pages), hw.memsize, kern.memorystatus_vm_pressure_level
// and vm.swapusage.
class LiveSystemSampler final : public SystemSampler {
public:
    // Reads the running system ("/proc" on Linux).
    LiveSystemSampler();
    // Linux: reads a folder shaped like /proc instead (tests); unused on macOS.
    explicit LiveSystemSampler(std::filesystem::path procRoot);
    ~LiveSystemSampler() override;

    std::expected<SystemSample, std::string> sample() override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace velmora
