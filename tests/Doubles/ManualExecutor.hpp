// A main thread for tests: posted work waits in a queue until the test runs it, so the order in
// which late results arrive is the test's to choose.
#pragma once

#include "App/MainExecutor.hpp"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora::testing {

class ManualExecutor final : public MainExecutor {
public:
    void post(std::function<void()> work) override {
        {
            const std::lock_guard lock(mutex_);
            queue_.push_back(std::move(work));
        }
        posted_.notify_all();
    }

    // Runs what is queued, including what that work posts in turn; returns how many ran.
    int runAll() {
        int count = 0;
        while (auto work = next()) {
            (*work)();
            ++count;
        }
        return count;
    }

    // Runs posted work as it arrives until `done()` holds (checked on this thread, between pieces of
    // work) or the time is up; false on time-out, so a hanging worker fails the test instead of hanging it.
    bool runUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (true) {
            runAll();
            if (done())
                return true;
            std::unique_lock lock(mutex_);
            if (!posted_.wait_until(lock, deadline, [&] { return !queue_.empty(); }))
                return done();
        }
    }

    // Takes the queued work out, for a test that runs it in another order or not at all.
    std::vector<std::function<void()>> take() {
        const std::lock_guard lock(mutex_);
        std::vector<std::function<void()>> taken(std::make_move_iterator(queue_.begin()),
                                                 std::make_move_iterator(queue_.end()));
        queue_.clear();
        return taken;
    }

private:
    std::optional<std::function<void()>> next() {
        const std::lock_guard lock(mutex_);
        if (queue_.empty())
            return std::nullopt;
        auto work = std::move(queue_.front());
        queue_.pop_front();
        return work;
    }

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> queue_;
};

} // namespace velmora::testing
