// A free-space probe with a fixed answer (a DiskSpace, or capacityUnavailable) that remembers the
// home folders it was asked about.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

#include <mutex>
#include <vector>

namespace velmora {

class FakeDiskSpace final : public DiskSpaceProbe {
public:
    explicit FakeDiskSpace(DiskSpace space) : answer_(space) {}
    static FakeDiskSpace unavailable() {
        return FakeDiskSpace(std::unexpected(DiskInfoError::capacityUnavailable));
    }

    void setAnswer(std::expected<DiskSpace, DiskInfoError> answer) {
        std::lock_guard lock(mutex_);
        answer_ = answer;
    }

    std::expected<DiskSpace, DiskInfoError> diskSpace(const std::filesystem::path& home) const override {
        std::lock_guard lock(mutex_);
        asked_.push_back(home);
        return answer_;
    }

    std::vector<std::filesystem::path> asked() const {
        std::lock_guard lock(mutex_);
        return asked_;
    }

private:
    explicit FakeDiskSpace(std::expected<DiskSpace, DiskInfoError> answer) : answer_(answer) {}

    mutable std::mutex mutex_;
    std::expected<DiskSpace, DiskInfoError> answer_;
    mutable std::vector<std::filesystem::path> asked_;
};

} // namespace velmora
