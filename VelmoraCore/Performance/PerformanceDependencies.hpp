// The services the performance model samples through: live ones in the app, fakes in tests.
#pragma once

#include "Performance/ActivityEntry.hpp"
#include "Performance/ProcessSample.hpp"
#include "Performance/ProcessSampler.hpp"
#include "Performance/SystemSampler.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace velmora {

struct PerformanceDependencies {
    std::shared_ptr<SystemSampler> system;
    std::shared_ptr<ProcessSampler> processes;
    // Groups the processes by the app they belong to.
    std::function<std::vector<ActivityEntry>(const std::vector<ProcessSample>&)> aggregate;
    std::function<std::chrono::system_clock::time_point()> now;
};

} // namespace velmora
