// A Trash that touches nothing: it records which items it was asked to move and answers with a made-up
// place in a Trash folder, or with an error it was told to give.
#pragma once

#include "Platform/Trash.hpp"

#include <mutex>
#include <optional>
#include <vector>

namespace velmora {

class FakeTrash final : public Trash {
public:
    explicit FakeTrash(std::filesystem::path folder = "/Trash") : folder_(std::move(folder)) {}

    std::expected<std::filesystem::path, TrashError> moveToTrash(const RemovalTarget& target) override {
        const auto& item = target.path;
        const std::lock_guard lock(mutex_);
        requests_.push_back(item);
        if (failure_)
            return std::unexpected(*failure_);
        return folder_ / item.filename();
    }

    // Every later call fails with `error` (none: calls succeed again).
    void failWith(std::optional<TrashError> error) {
        const std::lock_guard lock(mutex_);
        failure_ = std::move(error);
    }
    std::vector<std::filesystem::path> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

private:
    mutable std::mutex mutex_;
    std::filesystem::path folder_;
    std::optional<TrashError> failure_;
    std::vector<std::filesystem::path> requests_;
};

} // namespace velmora
