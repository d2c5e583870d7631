// A system sampler that answers `next`: a sample or a German failure.
#pragma once

#include "Performance/SystemSampler.hpp"

namespace velmora {

struct FakeSystemSampler final : SystemSampler {
    std::expected<SystemSample, std::string> next = SystemSample{};

    std::expected<SystemSample, std::string> sample() override { return next; }
};

} // namespace velmora
