// A size probe that answers from a table of paths (0 for any other) and remembers what it was asked.
#pragma once

#include "Platform/SizeMeasurer.hpp"

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora {

class FakeSizeMeter final : public SizeMeasurer {
public:
    FakeSizeMeter() = default;
    FakeSizeMeter(std::initializer_list<std::pair<const std::filesystem::path, std::int64_t>> sizes)
        : sizes_(sizes) {}

    void set(const std::filesystem::path& location, std::int64_t bytes) {
        std::lock_guard lock(mutex_);
        sizes_[location] = bytes;
    }

    std::int64_t size(const std::filesystem::path& location, std::stop_token = {}) const override {
        std::lock_guard lock(mutex_);
        measured_.push_back(location);
        const auto found = sizes_.find(location);
        return found == sizes_.end() ? 0 : found->second;
    }

    // Every location asked for, in order.
    std::vector<std::filesystem::path> measured() const {
        std::lock_guard lock(mutex_);
        return measured_;
    }

private:
    mutable std::mutex mutex_;
    std::map<std::filesystem::path, std::int64_t> sizes_;
    mutable std::vector<std::filesystem::path> measured_;
};

} // namespace velmora
