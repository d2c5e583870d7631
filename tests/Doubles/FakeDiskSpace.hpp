// A free-space probe with a fixed answer.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

namespace velmora {

class FakeDiskSpace final : public DiskSpaceProbe {
public:
    explicit FakeDiskSpace(DiskSpace space) : answer_(space) {}

    std::expected<DiskSpace, DiskInfoError> diskSpace(const std::filesystem::path&) const override {
        return answer_;
    }

private:
    DiskSpace answer_;
};

} // namespace velmora
