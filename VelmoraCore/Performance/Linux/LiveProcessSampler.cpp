// The process sampler on Linux, from /proc/<pid>/stat, statm, status, exe and cgroup.
#include "Performance/LiveProcessSampler.hpp"

#include "Platform/Linux/SystemdAppUnit.hpp"

#include "Performance/Linux/ProcText.hpp"
#include "Platform/SmallFile.hpp"
#include "Platform/UniqueFd.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace velmora {

namespace {

struct ProcessKey {
    int pid = 0;
    std::uint64_t startTicks = 0; // tells a new process apart from an old one that had the same pid

    bool operator==(const ProcessKey&) const = default;
};

struct ProcessKeyHash {
    std::size_t operator()(const ProcessKey& key) const noexcept {
        return std::hash<std::uint64_t>{}(key.startTicks * 4194319u + static_cast<std::uint64_t>(key.pid));
    }
};

using TickMap = std::unordered_map<ProcessKey, std::uint64_t, ProcessKeyHash>;

// The kernel's flag for its own threads (include/linux/sched.h).
constexpr std::uint64_t kernelThreadFlag = 0x00200000;

struct StatLine {
    std::string comm;
    char state = '?';
    int parentPid = 0;
    std::uint64_t flags = 0;
    std::uint64_t ticks = 0; // utime + stime
    std::uint64_t startTicks = 0;
};

// "pid (comm) state ppid pgrp session tty tpgid flags minflt cminflt majflt cmajflt utime stime …
// starttime …". The name may hold blanks and ")", so the fields start after the last ")". A file cut
// short (the process ended while it was read) has too few fields and gives nothing.
std::optional<StatLine> parseStat(std::string_view text) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    const std::vector<std::string_view> fields = proctext::words(text.substr(close + 1));
    // fields[0] is field 3 of the line (state), so field n is fields[n - 3].
    if (fields.size() < 20 || fields[0].size() != 1)
        return std::nullopt;
    const auto ppid = proctext::unsignedNumber(fields[1]);
    const auto flags = proctext::unsignedNumber(fields[6]);
    const auto utime = proctext::unsignedNumber(fields[11]);
    const auto stime = proctext::unsignedNumber(fields[12]);
    const auto start = proctext::unsignedNumber(fields[19]);
    if (!ppid || !flags || !utime || !stime || !start || *ppid > 0x7fffffff)
        return std::nullopt;
    return StatLine{std::string(text.substr(open + 1, close - open - 1)),
                    fields[0][0],
                    static_cast<int>(*ppid),
                    *flags,
                    *utime + *stime,
                    *start};
}

std::filesystem::path executableAt(int processDir) {
    char buffer[4096];
    const ssize_t length = ::readlinkat(processDir, "exe", buffer, sizeof buffer);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof buffer)
        return {};
    std::string target(buffer, static_cast<std::size_t>(length));
    // An executable replaced or removed while running is shown with this suffix.
    constexpr std::string_view deleted = " (deleted)";
    if (target.size() > deleted.size() && target.ends_with(deleted))
        target.resize(target.size() - deleted.size());
    return target;
}

std::optional<int> pidFromName(std::string_view name) {
    const std::optional<std::uint64_t> pid = proctext::unsignedNumber(name);
    if (!pid || *pid == 0 || *pid > 0x7fffffff)
        return std::nullopt;
    return static_cast<int>(*pid);
}

} // namespace

struct LiveProcessSampler::State {
    std::filesystem::path procRoot;
    long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    long pageSize = ::sysconf(_SC_PAGESIZE);
    TickMap previous;
    std::optional<double> previousUptime; // seconds since boot at the previous sample

    // Seconds since boot; the clock of the process start times. A missing /proc/uptime falls back to
    // this sampler's own clock, so the first sample still starts the measuring.
    double uptime(std::chrono::steady_clock::time_point now) const {
        if (const auto text = readSmallFile(procRoot / "uptime", 256)) {
            const std::vector<std::string_view> parts = proctext::words(*text);
            if (!parts.empty())
                if (const std::optional<double> seconds = proctext::decimalNumber(parts.front()))
                    return *seconds;
        }
        return std::chrono::duration<double>(now.time_since_epoch()).count();
    }

    std::optional<ProcessSample> read(int rootFd, const char* name, int pid, TickMap& current,
                                      double interval);
};

std::optional<ProcessSample> LiveProcessSampler::State::read(int rootFd, const char* name, int pid,
                                                             TickMap& current, double interval) {
    const UniqueFd dir(::openat(rootFd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir)
        return std::nullopt;
    const std::optional<std::string> statText = readSmallFileAt(dir.get(), "stat", 4096);
    const std::optional<StatLine> stat = statText ? parseStat(*statText) : std::nullopt;
    if (!stat || stat->state == 'Z' || stat->state == 'X')
        return std::nullopt;

    ProcessSample sample;
    sample.pid = pid;
    sample.parentPid = stat->parentPid;
    sample.name = Text::repairUTF8(stat->comm);
    sample.kernelThread = (stat->flags & kernelThreadFlag) != 0;
    if (!sample.kernelThread) {
        // Each read fails once the process has ended: then it is left out, whatever was read before.
        const std::optional<std::string> statm = readSmallFileAt(dir.get(), "statm", 512);
        const std::optional<std::string> status = readSmallFileAt(dir.get(), "status", 16 * 1024);
        const std::optional<std::string> cgroup = readSmallFileAt(dir.get(), "cgroup", 16 * 1024);
        if (!statm || !status || !cgroup)
            return std::nullopt;
        const std::vector<std::string_view> pages = proctext::words(*statm);
        const std::optional<std::uint64_t> resident =
            pages.size() >= 2 ? proctext::unsignedNumber(pages[1]) : std::nullopt;
        const std::optional<std::uint64_t> uid = proctext::numberAfter(*status, "Uid:");
        if (!resident || !uid || *uid > 0xffffffffu)
            return std::nullopt;
        sample.residentBytes = static_cast<std::int64_t>(*resident) * pageSize;
        sample.uid = static_cast<std::uint32_t>(*uid);
        sample.executable = executableAt(dir.get());
        sample.appScope = appIdOfCgroup(*cgroup);
        // Older kernels do not flag every kernel thread; those are kthreadd's children and have no program.
        sample.kernelThread = sample.executable.empty() && (pid == 2 || stat->parentPid == 2);
    }

    const ProcessKey key{pid, stat->startTicks};
    current.emplace(key, stat->ticks);
    std::uint64_t used = 0;
    if (const auto before = previous.find(key); before != previous.end())
        used = stat->ticks >= before->second ? stat->ticks - before->second : 0;
    else if (previousUptime &&
             static_cast<double>(stat->startTicks) / static_cast<double>(ticksPerSecond) >= *previousUptime)
        used = stat->ticks; // started within the interval: all of its time lies in it
    if (interval > 0)
        sample.cpuPercent =
            static_cast<double>(used) / static_cast<double>(ticksPerSecond) / interval * 100.0;
    return sample;
}

LiveProcessSampler::LiveProcessSampler() : LiveProcessSampler("/proc") {}

LiveProcessSampler::LiveProcessSampler(std::filesystem::path procRoot) : state_(std::make_unique<State>()) {
    state_->procRoot = std::move(procRoot);
}

LiveProcessSampler::~LiveProcessSampler() = default;

std::vector<ProcessSample> LiveProcessSampler::sample() {
    State& state = *state_;
    std::vector<ProcessSample> samples;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(state.procRoot.c_str()), ::closedir);
    if (!dir || state.ticksPerSecond <= 0 || state.pageSize <= 0)
        return samples;
    const auto now = std::chrono::steady_clock::now();
    const double uptime = state.uptime(now);
    const double interval = state.previousUptime ? uptime - *state.previousUptime : 0;

    TickMap current;
    current.reserve(state.previous.size() + 64);
    for (;;) {
        errno = 0;
        const dirent* item = ::readdir(dir.get());
        if (item == nullptr)
            break;
        const std::optional<int> pid = pidFromName(item->d_name);
        if (!pid)
            continue;
        if (std::optional<ProcessSample> sample =
                state.read(::dirfd(dir.get()), item->d_name, *pid, current, interval))
            samples.push_back(std::move(*sample));
    }
    state.previous = std::move(current);
    state.previousUptime = uptime;
    return samples;
}

} // namespace velmora
