// The live process sampler: every process's processor share and resident memory, read from the
// system's process table.
#pragma once

#include "Performance/ProcessSampler.hpp"

#include <filesystem>
#include <memory>

namespace velmora {

// Linux: /proc/<pid>/stat (utime + stime, start time, parent, kernel-thread flag), statm (resident
// pages), status (real uid), the exe link and cgroup (the desktop app's systemd unit). The interval
// is taken from /proc/uptime, so that all shares of one sample divide by the same time. A process
// that started since the previous sample counts all of its time; one that was there before but not
// seen counts nothing, so a process missed once can never show its whole life as one interval.
// macOS: sysctl KERN_PROC_ALL, proc_pidinfo(PROC_PIDTASKINFO) and proc_pidpath; a process whose
// task information we may not read (another user's) is listed with neither processor time nor memory.
//
// Processes that end while they are read, and zombies, are left out. The only state kept between
// samples is the previous sample's processor time per (pid, start time).
class LiveProcessSampler final : public ProcessSampler {
public:
    LiveProcessSampler();
    // Linux: reads a folder shaped like /proc instead (tests); unused on macOS.
    explicit LiveProcessSampler(std::filesystem::path procRoot);
    ~LiveProcessSampler() override;

    std::vector<ProcessSample> sample() override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace velmora
