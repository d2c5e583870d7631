#include "Doubles/FakeProcessSampler.hpp"
#include "Doubles/FakeSystemSampler.hpp"
#include "Performance/PerformanceModel.hpp"
#include "Performance/SlowdownDetector.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace std::chrono_literals;

namespace {

// Three apps, one of each kind, deliberately not in the order of their ids.
const std::vector<ActivityEntry> apps{{.id = "z", .name = "Zeta", .canQuit = true},
                                      {.id = "a", .name = "Alpha", .isSystem = true},
                                      {.id = "m", .name = "Mid"}};

// Readings every `every` seconds from `from` to `to` (both included), swap growing linearly.
struct Part {
    int from, to;
    std::vector<double> cpu; // per app above, missing ones idle
    int pressure = 1;
    std::int64_t swapFrom = 0, swapTo = 0;
    int every = 2;
};

// The hints of the last reading.
std::vector<SlowdownHint> run(const std::vector<Part>& parts) {
    SlowdownDetector detector;
    std::vector<SlowdownHint> hints;
    auto entries = apps;
    for (const auto& p : parts)
        for (int t = p.from, last = -1; last < p.to; last = t, t = std::min(t + p.every, p.to)) {
            for (std::size_t i = 0; i < entries.size(); ++i)
                entries[i].cpuPercent = i < p.cpu.size() ? p.cpu[i] : 0;
            const auto swap =
                p.swapFrom + (p.to == p.from ? 0 : (p.swapTo - p.swapFrom) * (t - p.from) / (p.to - p.from));
            hints =
                detector.update(entries, {.pressureLevel = p.pressure, .swapUsed = swap},
                                std::chrono::system_clock::time_point(std::chrono::seconds(1'000'000 + t)));
        }
    return hints;
}

const std::string zetaBusy = "Zeta rechnet seit Minuten stark",
                  swapping = "Dein Mac lagert gerade viel Speicher aus";
const std::string tense = "Der Arbeitsspeicher ist seit Minuten angespannt";
const std::string tight = "Der Arbeitsspeicher ist seit Minuten knapp";
constexpr std::int64_t GB = 1'000'000'000;

TEST(SlowdownDetector, OnlyConditionsThatLastGiveHints) {
    const struct {
        const char* name;
        std::vector<Part> parts;
        std::vector<std::string> titles;
    } cases[]{
        {"exactly 80 % never counts", {{0, 600, {80.0}}}, {}},
        {"80.1 % for 179 s", {{0, 179, {80.1}}}, {}},
        {"80.1 % for 180 s", {{0, 180, {80.1}}}, {zetaBusy}},
        {"one dip starts again", {{0, 100, {90}}, {102, 102, {50}}, {104, 283, {90}}}, {}},
        {"one dip, 180 s busy", {{0, 100, {90}}, {102, 102, {50}}, {104, 284, {90}}}, {zetaBusy}},
        {"31 s pause restarts all", {{0, 170, {90}, 4, 0, 2 * GB}, {201, 201, {90}, 4, 4 * GB}}, {}},
        {"30 s pause does not",
         {{0, 170, {90}, 4, 0, 2 * GB}, {200, 200, {90}, 4, 4 * GB}},
         {zetaBusy, tight, swapping}},
        {"pressure 2 for 180 s", {{0, 180, {}, 2}}, {tense}},
        {"pressure 3 for 180 s", {{0, 180, {}, 3}}, {tense}},
        {"pressure 4 for 180 s", {{0, 180, {}, 4}}, {tight}},
        {"pressure normal once", {{0, 90, {}, 4}, {92, 92, {}}, {94, 200, {}, 4}}, {}},
        {"swap +1 GB in 180 s", {{0, 180, {}, 1, 0, GB}}, {}},
        {"swap +1 GB + 1 byte in 180 s", {{0, 180, {}, 1, 0, GB + 1}}, {swapping}},
        {"swap +3 GB in 178 s", {{0, 178, {}, 1, 0, 3 * GB}}, {}},
        // Readings 7 s apart never fall on the border: the one before it stays the oldest.
        {"swap readings straddle the border", {{0, 182, {}, 1, 0, GB + 1, 7}}, {swapping}},
        {"swap grew long ago", {{0, 10, {}, 1, 0, 3 * GB}, {12, 400, {}, 1, 3 * GB, 3 * GB}}, {}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> titles;
        for (const auto& hint : run(c.parts))
            titles.push_back(hint.title);
        EXPECT_EQ(titles, c.titles) << c.name;
    }
}

TEST(SlowdownDetector, HintsComeInEntryOrderThenMemoryThenSwap) {
    const std::string busy = " beansprucht den Prozessor seit einigen Minuten stark. ";
    const std::vector<SlowdownHint> expected{
        {"cpu.z", zetaBusy,
         "Zeta" + busy + "Wenn du das Programm gerade nicht brauchst, kannst du es in Ruhe beenden."},
        {"cpu.a", "Alpha arbeitet seit Minuten viel",
         "Ein Systemdienst ist gerade sehr beschäftigt – das ist meist vorübergehend (zum Beispiel "
         "Fotos-Analyse "
         "oder Spotlight). Am besten abwarten."},
        {"cpu.m", "Mid arbeitet seit Minuten viel",
         "Mid" + busy +
             "Oft ist das nach einer Weile vorbei – falls nicht, lohnt ein Blick, was das Programm gerade "
             "tut."},
        {"memory", tense,
         "Dein Mac hat seit einigen Minuten wenig freien Arbeitsspeicher. Das Beenden großer Programme, die "
         "du "
         "gerade nicht brauchst, schafft wieder Luft."},
        {"swap", swapping,
         "In den letzten Minuten ist die Auslagerung auf die Festplatte deutlich gewachsen. Das macht den "
         "Mac "
         "träge – weniger offene Programme helfen."}};
    EXPECT_EQ(run({{0, 180, {95, 81, 400}, 2, 0, 2 * GB}}), expected);
}

} // namespace

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
