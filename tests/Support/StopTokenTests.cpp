#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

using namespace velmora;
using namespace std::chrono_literals;

TEST(StopToken, CallbacksRunOnceNeverAfterDeregisteringAndWaitsEndAtTheRequestTheDeadlineOrWhenDone) {
    StopSource source;
    int early = 0, removed = 0, late = 0;
    StopCallback first(source.get_token(), [&] { ++early; });
    {
        StopCallback gone(source.get_token(), [&] { ++removed; });
    }
    EXPECT_TRUE(source.request_stop());
    EXPECT_FALSE(source.request_stop());
    StopCallback second(source.get_token(), [&] { ++late; });
    EXPECT_EQ(early, 1);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(late, 1);
    EXPECT_TRUE(source.get_token().stop_requested());
    EXPECT_FALSE(StopToken{}.stop_requested());

    // A wait ends at the request, at the deadline or when done.
    std::mutex mutex;
    std::condition_variable_any changed;
    StopSource waited;
    bool done = false;
    JoiningThread requester([&] {
        std::this_thread::sleep_for(20ms);
        waited.request_stop();
    });
    std::unique_lock lock(mutex);
    EXPECT_FALSE(wait(changed, lock, waited.get_token(), [&] { return done; }));
    EXPECT_FALSE(
        waitUntil(changed, lock, StopToken{}, std::chrono::steady_clock::now() + 10ms, [&] { return done; }));
    done = true;
    EXPECT_TRUE(wait(changed, lock, waited.get_token(), [&] { return done; }));
}

TEST(StopToken, ACallbackMayEndItselfAndADestructorWaitsForARunElsewhere) {
    StopSource source;
    std::optional<StopCallback<std::function<void()>>> self;
    self.emplace(source.get_token(), std::function<void()>([&] { self.reset(); }));

    std::atomic<bool> entered = false, finished = false;
    auto slow = std::make_unique<StopCallback<std::function<void()>>>(source.get_token(), [&] {
        entered = true;
        std::this_thread::sleep_for(50ms);
        finished = true;
    });
    JoiningThread requester([&] { source.request_stop(); });
    while (!entered)
        std::this_thread::yield();
    slow.reset();
    EXPECT_TRUE(finished);
    EXPECT_FALSE(self.has_value());
}
