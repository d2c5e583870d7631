#include "Cli/CliTestSupport.hpp"
#include "Doubles/FakeProcessSampler.hpp"
#include "Doubles/FakeSystemSampler.hpp"

#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;

namespace {

// `velmora top` on fake samplers whose waits only move a fake clock, and are recorded.
struct FakeMachine {
    std::shared_ptr<FakeSystemSampler> system = std::make_shared<FakeSystemSampler>();
    std::shared_ptr<FakeProcessSampler> processes = std::make_shared<FakeProcessSampler>();
    std::chrono::system_clock::time_point clock{};
    std::vector<std::chrono::milliseconds> pauses;

    CliRun run(std::vector<std::string> words) {
        cli::ServiceOverrides overrides;
        overrides.performance =
            PerformanceDependencies{system, processes, oneAppPerProcess, [this] { return clock; }};
        overrides.pause = [this](std::chrono::milliseconds d) { pauses.push_back(d), clock += d; };
        words.insert(words.begin(), "top");
        return runVelmora(words, overrides);
    }
};

TEST(TopCommand, MeasuresOnceOrStreamsBlocks) {
    FakeMachine machine;
    machine.system->next = SystemSample{50, 2, 3 << 20, 8 << 20, 2, 1 << 20, 4 << 20};
    machine.processes->next = {fakeProcess(7, "idle", 0.5, 4096, 0), fakeProcess(9, "yes", 99.5, 1024)};
    const auto run = machine.run({"--once", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(machine.pauses, std::vector{500ms});
    EXPECT_EQ(nlohmann::json::parse(run.out), nlohmann::json::parse(R"({"system": {"cpuPercent": 50.0,
        "memoryUsed": 3145728, "memoryTotal": 8388608, "pressureLevel": 2, "swapUsed": 1048576, "swapTotal": 4194304},
        "apps": [{"id": "pid.9", "name": "yes", "cpuPercent": 99.5, "memory": 1024, "isSystem": false, "canQuit": true},
                 {"id": "pid.7", "name": "idle", "cpuPercent": 0.5, "memory": 4096, "isSystem": true, "canQuit": false}],
        "hints": []})"));

    // Without --once: one German block per sample, every 2 s after the first.
    machine.system->next = SystemSample{.cpuPercent = 12.4, .cpuCount = 4, .pressureLevel = 4};
    machine.processes->next = {fakeProcess(3, "evil\x1b[2Jname", 81)};
    const auto stream = machine.run({"--count", "2"});
    ASSERT_EQ(stream.status, 0) << stream.err;
    EXPECT_EQ(machine.pauses, (std::vector{500ms, 500ms, 2000ms}));
    EXPECT_THAT(stream.out, HasSubstr("Prozessor: 12 % ausgelastet (4 Kerne)\n"));
    EXPECT_THAT(stream.out, HasSubstr("Druck: knapp\n"));
    EXPECT_THAT(stream.out, Not(HasSubstr("\x1b")));
}

} // namespace
