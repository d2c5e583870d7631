// A main thread for tests: posted work waits in a queue until the test runs it, so the order in
// which late results arrive is the test's to choose.
#pragma once

#include "App/MainExecutor.hpp"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora::testing {

class ManualExecutor final : public MainExecutor {
public:
    void post(std::function<void()> work) override {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
        posted_.notify_all();
    }

    // Runs what is queued, including what that work posts in turn.
    void runAll() {
        for (auto work = take(); !work.empty(); work = take())
            for (auto& piece : work)
                piece();
    }

    // Runs posted work as it arrives until `done()` holds; false on time-out, so a hang fails the test.
    bool runUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (runAll(); !done(); runAll()) {
            std::unique_lock lock(mutex_);
            if (!posted_.wait_until(lock, deadline, [&] { return !queue_.empty(); }))
                return done();
        }
        return true;
    }

    // Takes the queued work out, for a test that runs it in another order or not at all.
    std::vector<std::function<void()>> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(queue_, {});
    }

private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::vector<std::function<void()>> queue_;
};

} // namespace velmora::testing
