// Wraps a real Trash and makes chosen calls fail without passing them on, so that a test can prove
// a failure in the middle of a run leaves that item in place while the others are still moved.
#pragma once

#include "Platform/Trash.hpp"

#include <cerrno>
#include <functional>
#include <mutex>

namespace velmora {

class FaultInjectingTrash final : public Trash {
public:
    // `shouldFail` sees the 1-based number of the call and the item; when it says yes, `error` is
    // returned and `inner` is not called.
    FaultInjectingTrash(Trash& inner, std::function<bool(int, const std::filesystem::path&)> shouldFail,
                        TrashError error = TrashError::make(TrashError::Kind::system, EIO))
        : inner_(inner), shouldFail_(std::move(shouldFail)), error_(std::move(error)) {}

    std::expected<std::filesystem::path, TrashError> moveToTrash(const RemovalTarget& target) override {
        const auto& item = target.path;
        int call = 0;
        {
            const std::lock_guard lock(mutex_);
            call = ++calls_;
        }
        if (shouldFail_(call, item))
            return std::unexpected(error_);
        return inner_.moveToTrash(target);
    }

private:
    Trash& inner_;
    std::function<bool(int, const std::filesystem::path&)> shouldFail_;
    TrashError error_;
    std::mutex mutex_;
    int calls_ = 0;
};

} // namespace velmora
