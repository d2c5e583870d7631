// A process sampler that answers `next`, and an aggregation that makes every process an app of its own
// (id "pid.<pid>", system when root's, quittable otherwise).
#pragma once

#include "Performance/ActivityEntry.hpp"
#include "Performance/ProcessSampler.hpp"

namespace velmora {

struct FakeProcessSampler final : ProcessSampler {
    std::vector<ProcessSample> next;

    std::vector<ProcessSample> sample() override { return next; }
};

inline ProcessSample fakeProcess(int pid, std::string name, double cpu, std::int64_t resident = 0,
                                 std::uint32_t uid = 1000) {
    return {pid, 1, std::move(name), {}, cpu, resident, uid, false, {}};
}

inline std::vector<ActivityEntry> oneAppPerProcess(const std::vector<ProcessSample>& processes) {
    std::vector<ActivityEntry> apps;
    for (const auto& p : processes)
        apps.push_back(
            {"pid." + std::to_string(p.pid), p.name, p.cpuPercent, p.residentBytes, p.uid == 0, p.uid != 0});
    return apps;
}

} // namespace velmora
