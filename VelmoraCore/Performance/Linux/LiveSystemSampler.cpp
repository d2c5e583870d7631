// The system sampler on Linux, from /proc/stat, /proc/meminfo and /proc/pressure/memory.
#include "Performance/LiveSystemSampler.hpp"

#include "Performance/Linux/ProcText.hpp"
#include "Platform/SmallFile.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace velmora {

struct LiveSystemSampler::State {
    std::filesystem::path procRoot;
    // The busy and total ticks of the previous sample; the first sample measures since boot.
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
};

namespace {

struct ProcessorTicks {
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
    unsigned cores = 0;
};

// The "cpu" line: user nice system idle iowait irq softirq steal [guest guest_nice]. Guest time is
// already part of user and nice, so it is not added again; waiting for the disk is idle time.
std::optional<ProcessorTicks> processorTicks(std::string_view stat) {
    std::optional<ProcessorTicks> ticks;
    unsigned cores = 0;
    proctext::forEachLine(stat, [&](std::string_view line) {
        if (!line.starts_with("cpu"))
            return true;
        if (line.size() > 3 && line[3] >= '0' && line[3] <= '9') {
            ++cores;
            return true;
        }
        const std::vector<std::string_view> parts = proctext::words(line);
        if (parts.size() < 5 || parts[0] != "cpu")
            return true;
        ProcessorTicks counted;
        for (std::size_t i = 1; i < parts.size() && i <= 8; ++i) {
            const std::optional<std::uint64_t> value = proctext::unsignedNumber(parts[i]);
            if (!value)
                return false;
            counted.total += *value;
            if (i != 4 && i != 5)
                counted.busy += *value;
        }
        ticks = counted;
        return true;
    });
    if (ticks)
        ticks->cores = cores == 0 ? 1 : cores;
    return ticks;
}

// avg10 of the "some" and "full" lines, percent of the last ten seconds in which some (or all
// non-idle) tasks waited for memory. Ten seconds answer quickly; the slowdown detector waits for
// minutes before it speaks, so a short stall never reaches the user.
//   full ≥ 10: every runnable task waits a tenth of the time – the machine thrashes → critical (4);
//   some ≥ 40: someone waits nearly half the time → critical as well;
//   some ≥ 10: reclaim and swap-in are felt, like macOS's warning → 2.
int pressureLevel(std::string_view text) {
    double some = 0;
    double full = 0;
    proctext::forEachLine(text, [&](std::string_view line) {
        const std::vector<std::string_view> parts = proctext::words(line);
        if (parts.size() < 2 || !parts[1].starts_with("avg10="))
            return true;
        const std::optional<double> value = proctext::decimalNumber(parts[1].substr(6));
        if (value && parts[0] == "some")
            some = *value;
        else if (value && parts[0] == "full")
            full = *value;
        return true;
    });
    if (full >= 10 || some >= 40)
        return 4;
    if (some >= 10)
        return 2;
    return 1;
}

std::int64_t kibibytes(std::optional<std::uint64_t> value) {
    // Anything above 2^53 KiB is not a real machine; clamping keeps the byte count from overflowing.
    constexpr std::uint64_t most = std::uint64_t{1} << 53;
    return static_cast<std::int64_t>(value.value_or(0) < most ? value.value_or(0) : most) * 1024;
}

} // namespace

LiveSystemSampler::LiveSystemSampler() : LiveSystemSampler("/proc") {}

LiveSystemSampler::LiveSystemSampler(std::filesystem::path procRoot)
    : state_(std::make_unique<State>(State{std::move(procRoot)})) {}

LiveSystemSampler::~LiveSystemSampler() = default;

std::expected<SystemSample, std::string> LiveSystemSampler::sample() {
    const std::optional<std::string> stat = readSmallFile(state_->procRoot / "stat", 1024 * 1024);
    const std::optional<ProcessorTicks> ticks = stat ? processorTicks(*stat) : std::nullopt;
    if (!ticks)
        return std::unexpected("Die Prozessorauslastung lässt sich nicht lesen.");
    const std::optional<std::string> meminfo = readSmallFile(state_->procRoot / "meminfo");
    const std::optional<std::uint64_t> memTotal =
        meminfo ? proctext::numberAfter(*meminfo, "MemTotal:") : std::nullopt;
    if (!memTotal)
        return std::unexpected("Der Arbeitsspeicher lässt sich nicht lesen.");

    SystemSample sample;
    sample.cpuCount = ticks->cores;
    // Counters that went backwards (a processor taken offline) measure nothing this time.
    if (ticks->total > state_->total && ticks->busy >= state_->busy) {
        const double busy = static_cast<double>(ticks->busy - state_->busy);
        const double total = static_cast<double>(ticks->total - state_->total);
        sample.cpuPercent = std::min(100.0, busy / total * 100.0);
    }
    state_->busy = ticks->busy;
    state_->total = ticks->total;

    sample.memoryTotal = kibibytes(memTotal);
    // Kernels before 3.14 have no MemAvailable; free memory alone would call the page cache used.
    std::optional<std::uint64_t> available = proctext::numberAfter(*meminfo, "MemAvailable:");
    if (!available)
        available = proctext::numberAfter(*meminfo, "MemFree:").value_or(0) +
                    proctext::numberAfter(*meminfo, "Buffers:").value_or(0) +
                    proctext::numberAfter(*meminfo, "Cached:").value_or(0);
    sample.memoryUsed = std::max<std::int64_t>(0, sample.memoryTotal - kibibytes(available));
    sample.swapTotal = kibibytes(proctext::numberAfter(*meminfo, "SwapTotal:"));
    sample.swapUsed =
        std::max<std::int64_t>(0, sample.swapTotal - kibibytes(proctext::numberAfter(*meminfo, "SwapFree:")));

    const std::optional<std::string> pressure = readSmallFile(state_->procRoot / "pressure" / "memory");
    sample.pressureLevel = pressure ? pressureLevel(*pressure) : 1;
    return sample;
}

} // namespace velmora
