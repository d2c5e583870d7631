// Takes system samples. The processor load is a difference, so a sampler remembers the counters of its
// previous sample (and nothing else); the first sample measures since the system started.
#pragma once

#include "Performance/SystemSample.hpp"

#include <expected>
#include <string>

namespace velmora {

// Not thread-safe: one sampling loop owns a sampler.
class SystemSampler {
public:
    virtual ~SystemSampler() = default;

    // The German reason when the system could not be read at all.
    virtual std::expected<SystemSample, std::string> sample() = 0;
};

} // namespace velmora
