// Samples every process. Processor shares are differences, so a sampler keeps the counters of its
// previous sample and nothing more; processes that vanished between two samples are dropped quietly.
#pragma once

#include "Performance/ProcessSample.hpp"

#include <vector>

namespace velmora {

// Not thread-safe: one sampling loop owns a sampler.
class ProcessSampler {
public:
    virtual ~ProcessSampler() = default;

    virtual std::vector<ProcessSample> sample() = 0;
};

} // namespace velmora
