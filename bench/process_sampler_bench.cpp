// Measures the processor time one sample of all processes costs (LiveProcessSampler, then the
// activity aggregation), with at least --processes processes running: idle `sleep` children make up
// the difference and are ended afterwards.
//
// Usage: process_sampler_bench [--processes N] [--runs R]
// Prints "processes=… runs=… cpu_ms_min=… cpu_ms_median=… cpu_ms_max=… aggregate_ms_median=…".
#include "Performance/ActivityAggregator.hpp"
#include "Performance/LiveProcessSampler.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

double processorMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    std::size_t wanted = 300;
    int runs = 20;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view flag = argv[i];
        const int value = std::atoi(argv[i + 1]);
        if (flag == "--processes" && value > 0)
            wanted = static_cast<std::size_t>(value);
        else if (flag == "--runs" && value > 0)
            runs = value;
        else {
            fmt::print(stderr, "usage: {} [--processes N] [--runs R]\n", argv[0]);
            return 2;
        }
    }

    velmora::LiveProcessSampler sampler;
    std::vector<pid_t> children;
    for (std::size_t running = sampler.sample().size(); running < wanted; ++running) {
        pid_t child = 0;
        char sleepName[] = "sleep";
        char seconds[] = "600";
        char* arguments[] = {sleepName, seconds, nullptr};
        if (::posix_spawnp(&child, "sleep", nullptr, nullptr, arguments, environ) != 0)
            break;
        children.push_back(child);
    }

    const velmora::ActivityAggregator::Setup setup{
        .ownUid = ::getuid(), .ownPid = ::getpid(), .desktopName = {}};
    std::vector<double> sampleCosts;
    std::vector<double> aggregateCosts;
    std::size_t processes = 0;
    sampler.sample(); // the first sample builds the table the later ones compare with
    for (int run = 0; run < runs; ++run) {
        const double start = processorMilliseconds();
        const std::vector<velmora::ProcessSample> samples = sampler.sample();
        const double sampled = processorMilliseconds();
        const std::vector<velmora::ActivityEntry> entries =
            velmora::ActivityAggregator::aggregate(samples, setup);
        aggregateCosts.push_back(processorMilliseconds() - sampled);
        sampleCosts.push_back(sampled - start);
        processes = samples.size();
        ::usleep(50'000);
    }

    for (const pid_t child : children) {
        ::kill(child, SIGTERM);
        ::waitpid(child, nullptr, 0);
    }
    fmt::print("processes={} runs={} cpu_ms_min={:.2f} cpu_ms_median={:.2f} cpu_ms_max={:.2f} "
               "aggregate_ms_median={:.2f}\n",
               processes, runs, *std::min_element(sampleCosts.begin(), sampleCosts.end()),
               median(sampleCosts), *std::max_element(sampleCosts.begin(), sampleCosts.end()),
               median(aggregateCosts));
    return 0;
}
