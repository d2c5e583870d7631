#include "Doubles/FakeProcessSampler.hpp"
#include "Doubles/FakeSystemSampler.hpp"
#include "Performance/PerformanceModel.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace std::chrono_literals;

namespace {

TEST(PerformanceModel, KeepsTheBusiestAppsTenMinutesOfSamplesAndTheHints) {
    const auto system = std::make_shared<FakeSystemSampler>();
    const auto processes = std::make_shared<FakeProcessSampler>();
    std::chrono::system_clock::time_point clock{1'000'000s};
    PerformanceModel model({system, processes, oneAppPerProcess, [&] { return clock; }}, {.topCount = 2});
    const auto small = fakeProcess(1, "small", 5, 10), busy = fakeProcess(2, "busy", 90, 20),
               big = fakeProcess(3, "big", 30, 900);
    processes->next = {small, busy, big};
    int notified = 0;
    const auto observer = model.addObserver([&] { ++notified; });
    for (const auto end = clock + 15min; clock < end; model.sample())
        clock += 2s;
    model.removeObserver(observer);
    model.sample(); // at the same time: a clock that stands still cannot grow the history either
    const auto snapshot = model.snapshot();
    EXPECT_EQ(notified, 15 * 30);
    EXPECT_EQ(snapshot.apps, oneAppPerProcess({busy, big, small}));
    EXPECT_EQ(snapshot.topByProcessor, oneAppPerProcess({busy, big}));
    EXPECT_EQ(snapshot.topByMemory, oneAppPerProcess({big, busy}));
    EXPECT_EQ(snapshot.history.size(), 301u);
    EXPECT_EQ(snapshot.history.front().at, clock - 10min + 2s);
    EXPECT_EQ(snapshot.hints.size() == 1 ? snapshot.hints[0].id : "", "cpu.pid.2");

    system->next = std::unexpected("kaputt");
    model.sample();
    const auto failed = model.snapshot();
    EXPECT_EQ(failed.error, "kaputt");
    EXPECT_TRUE(failed.hints.empty());
    EXPECT_EQ(failed.history.size(), 301u);
}

} // namespace
