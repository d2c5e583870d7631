// The process sampler on macOS, from the kernel process table, proc_pidinfo and proc_pidpath.
#include "Performance/LiveProcessSampler.hpp"

#include "Platform/MacOS/ProcessTable.hpp"
#include "Support/Text.hpp"

#include <cerrno>
#include <chrono>
#include <compare>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/param.h>
#include <sys/proc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace velmora {

namespace {

struct ProcessKey {
    int pid = 0;
    std::int64_t startMicroseconds = 0; // tells a new process apart from an old one that had the same pid

    auto operator<=>(const ProcessKey&) const = default;
};

std::string nameOf(const kinfo_proc& entry) {
    if (std::string name = processNameOf(entry.kp_proc.p_pid); !name.empty())
        return name;
    const char* comm = entry.kp_proc.p_comm;
    return std::string(comm, ::strnlen(comm, sizeof entry.kp_proc.p_comm));
}

std::int64_t microsecondsOf(const timeval& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_usec;
}

} // namespace

struct LiveProcessSampler::State {
    std::map<ProcessKey, std::uint64_t> previous; // processor time in nanoseconds
    std::optional<std::chrono::steady_clock::time_point> previousTime;
    std::int64_t previousWallMicroseconds = 0; // the process start times are wall-clock times
    mach_timebase_info_data_t timebase{};
};

LiveProcessSampler::LiveProcessSampler() : state_(std::make_unique<State>()) {
    // Task times are in Mach time units, which are not nanoseconds on Apple silicon.
    if (::mach_timebase_info(&state_->timebase) != KERN_SUCCESS || state_->timebase.denom == 0)
        state_->timebase = {1, 1};
}

LiveProcessSampler::LiveProcessSampler(std::filesystem::path) : LiveProcessSampler() {}

LiveProcessSampler::~LiveProcessSampler() = default;

std::vector<ProcessSample> LiveProcessSampler::sample() {
    State& state = *state_;
    const auto now = std::chrono::steady_clock::now();
    const std::int64_t wallNow = std::chrono::duration_cast<std::chrono::microseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count();
    const double interval =
        state.previousTime ? std::chrono::duration<double, std::nano>(now - *state.previousTime).count() : 0;

    std::map<ProcessKey, std::uint64_t> current;
    std::vector<ProcessSample> samples;
    for (const kinfo_proc& entry : kernelProcessTable()) {
        const pid_t pid = entry.kp_proc.p_pid;
        // pid 0 is the kernel itself; zombies have ended.
        if (pid <= 0 || entry.kp_proc.p_stat == SZOMB)
            continue;
        ProcessSample sample;
        sample.pid = pid;
        sample.parentPid = entry.kp_eproc.e_ppid;
        sample.uid = entry.kp_eproc.e_pcred.p_ruid;

        proc_taskinfo info{};
        const int got = ::proc_pidinfo(pid, PROC_PIDTASKINFO, 0, &info, static_cast<int>(sizeof info));
        if (got <= 0 && errno == ESRCH)
            continue; // ended since the table was read
        sample.name = Text::repairUTF8(nameOf(entry));
        sample.executable = executablePathOf(pid);
        if (got == static_cast<int>(sizeof info)) {
            sample.residentBytes = static_cast<std::int64_t>(info.pti_resident_size);
            const std::uint64_t nanoseconds =
                (info.pti_total_user + info.pti_total_system) * state.timebase.numer / state.timebase.denom;
            const ProcessKey key{pid, microsecondsOf(entry.kp_proc.p_starttime)};
            current.emplace(key, nanoseconds);
            std::uint64_t used = 0;
            if (const auto before = state.previous.find(key); before != state.previous.end())
                used = nanoseconds >= before->second ? nanoseconds - before->second : 0;
            else if (state.previousTime && key.startMicroseconds >= state.previousWallMicroseconds)
                used = nanoseconds; // started within the interval: all of its time lies in it
            if (interval > 0)
                sample.cpuPercent = static_cast<double>(used) / interval * 100.0;
        }
        samples.push_back(std::move(sample));
    }
    state.previous = std::move(current);
    state.previousTime = now;
    state.previousWallMicroseconds = wallNow;
    return samples;
}

} // namespace velmora
