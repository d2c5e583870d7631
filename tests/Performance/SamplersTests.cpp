#include "Performance/LiveProcessSampler.hpp"
#include "Performance/LiveSystemSampler.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

using namespace velmora;
using velmora::testing::TempTree;

#ifdef __linux__

namespace {

const std::string meminfo = "MemTotal:       1000 kB\nMemFree:         100 kB\nMemAvailable:    400 kB\n"
                            "SwapTotal:       300 kB\nSwapFree:        100 kB\n";

// "pid (comm) state ppid pgrp session tty tpgid flags minflt cminflt majflt cmajflt utime stime cutime
// cstime priority nice threads itreal starttime vsize rss".
std::string statText(int pid, const std::string& comm, int ppid, unsigned flags, int utime, int stime,
                     int start, char state = 'S') {
    return std::to_string(pid) + " (" + comm + ") " + state + " " + std::to_string(ppid) + " 1 1 0 -1 " +
           std::to_string(flags) + " 0 0 0 0 " + std::to_string(utime) + " " + std::to_string(stime) +
           " 0 0 20 0 1 0 " + std::to_string(start) + " 1000 5\n";
}

void process(const TempTree& proc, int pid, const std::string& statLine, const std::string& cgroup = "0::/\n",
             const std::string& exe = "/usr/bin/tool", unsigned uid = 1000) {
    const std::string dir = std::to_string(pid) + "/";
    proc.file(dir + "stat", statLine);
    proc.file(dir + "statm", "900 12 3 1 0 50 0\n");
    proc.file(dir + "status", "Name:\tx\nUid:\t" + std::to_string(uid) + "\t0\t0\t0\n");
    proc.file(dir + "cgroup", cgroup);
    if (!exe.empty())
        proc.link(dir + "exe", exe);
}

const ProcessSample* find(const std::vector<ProcessSample>& samples, int pid) {
    const auto it = std::ranges::find(samples, pid, &ProcessSample::pid);
    return it == samples.end() ? nullptr : &*it;
}

} // namespace

// Processor load from counter differences, memory from MemAvailable, swap, and the pressure levels
// at each side of their thresholds.
TEST(LiveSystemSampler, ReadsLoadMemorySwapAndMapsPressure) {
    TempTree proc;
    EXPECT_FALSE(LiveSystemSampler(proc.root()).sample().has_value()) << "no /proc/stat";
    proc.file("stat", "cpu  100 0 100 700 100 0 0 0 0 0\ncpu0 1 0 0 0\ncpu1 1 0 0 0\nintr 5\n");
    proc.file("meminfo", meminfo);
    LiveSystemSampler sampler(proc.root());
    auto first = sampler.sample();
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(*first, (SystemSample{20, 2, 600 * 1024, 1000 * 1024, 1, 200 * 1024, 300 * 1024}));
    // 300 busy of 400 ticks since then (iowait counts as idle).
    proc.file("stat", "cpu  250 0 250 750 150 0 0 0 0 0\ncpu0 1\ncpu1 1\n");
    EXPECT_DOUBLE_EQ(sampler.sample()->cpuPercent, 75.0);

    // "some" and "full" avg10 at each side of their thresholds; avg60 never counts.
    const auto psi = [](const char* some, const char* full) {
        return std::string("some avg10=") + some + " avg60=50.00 avg300=0.00 total=1\nfull avg10=" + full +
               " avg60=0.00 avg300=0.00 total=0\n";
    };
    for (const auto& [text, level] : std::vector<std::pair<std::string, int>>{{psi("9.99", "9.99"), 1},
                                                                              {psi("10.00", "0.00"), 2},
                                                                              {psi("39.99", "9.00"), 2},
                                                                              {psi("40.00", "0.00"), 4},
                                                                              {psi("12.00", "10.00"), 4},
                                                                              {"some avg10=garbage\n", 1}}) {
        proc.file("pressure/memory", text);
        EXPECT_EQ(sampler.sample()->pressureLevel, level) << text;
    }
    // Without MemAvailable (old kernels) the page cache still counts as free.
    proc.file("meminfo", "MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 100 kB\nCached: 200 kB\n");
    EXPECT_EQ(sampler.sample()->memoryUsed, 600 * 1024);
}

TEST(LiveProcessSampler, ParsesProcessFilesAndSharesOverTheInterval) {
    TempTree proc;
    const long hz = ::sysconf(_SC_CLK_TCK);
    const long page = ::sysconf(_SC_PAGESIZE);
    proc.file("uptime", "1000.00 5.00\n");
    process(proc, 100, statText(100, "a) (b", 1, 0, 10, 10, 500),
            "0::/user.slice/app.slice/app-gnome-firefox-4711.scope\n", "/usr/lib/firefox/firefox (deleted)");
    process(proc, 101, statText(101, "kate", 1, 0, 0, 0, 500),
            "0::/user.slice/app.slice/app-org.kde.kate@12ab.service\n");
    process(proc, 102, statText(102, "chrome", 1, 0, 0, 0, 500),
            "1:name=systemd:/app-gnome-google\\x2dchrome-9.scope/tab\n");
    process(proc, 103, statText(103, "shell", 1, 0, 0, 0, 500),
            "0::/user.slice/session.slice/org.gnome.Shell@x11.service\n");
    process(proc, 104, statText(104, "odd", 1, 0, 0, 0, 500), "0::/app-a-b-c-d.scope\n", "", 0);
    // Kernel threads: by flag, and (older kernels) as kthreadd's child without a program.
    process(proc, 2, statText(2, "kthreadd", 0, 0x00208040, 0, 0, 0), "0::/\n", "");
    process(proc, 300, statText(300, "kworker/0:1", 2, 0, 0, 0, 1), "0::/\n", "");
    // Ended mid-read: an empty stat, a stat cut short, files gone after stat, a zombie.
    process(proc, 200, "");
    process(proc, 201, "201 (cut) S 1 1 1 0 -1 0 0 0 0 0 5");
    proc.file("202/stat", statText(202, "gone", 1, 0, 0, 0, 500));
    process(proc, 203, statText(203, "zombie", 1, 0, 0, 0, 500, 'Z'));

    LiveProcessSampler sampler(proc.root());
    const std::vector<ProcessSample> first = sampler.sample();
    ASSERT_EQ(first.size(), 7u);
    for (int gone : {200, 201, 202, 203})
        EXPECT_EQ(find(first, gone), nullptr) << gone;
    EXPECT_EQ(*find(first, 100), (ProcessSample{100, 1, "a) (b", "/usr/lib/firefox/firefox", 0, 12 * page,
                                                1000, false, "firefox"}));
    EXPECT_EQ(find(first, 101)->appScope, "org.kde.kate");
    EXPECT_EQ(find(first, 102)->appScope, "google-chrome");
    EXPECT_EQ(find(first, 103)->appScope, "");
    EXPECT_EQ(find(first, 104)->appScope, "") << "too many parts to tell the launcher from the app id";
    EXPECT_EQ(find(first, 104)->uid, 0u);
    EXPECT_TRUE(find(first, 2)->kernelThread && find(first, 300)->kernelThread);
    EXPECT_FALSE(find(first, 101)->kernelThread);

    // Two seconds later: 100 used one more second; 101 was replaced by a new process with the same pid
    // that started within the interval; 105 is new to us but older than the previous sample.
    proc.file("uptime", "1002.00 5.00\n");
    proc.file("100/stat", statText(100, "a) (b", 1, 0, 10 + hz / 2, 10 + hz / 2, 500));
    proc.file("101/stat", statText(101, "kate", 1, 0, hz / 2, 0, static_cast<int>(1001 * hz)));
    process(proc, 105, statText(105, "missed", 1, 0, 50 * hz, 0, 500));
    const std::vector<ProcessSample> second = sampler.sample();
    EXPECT_DOUBLE_EQ(find(second, 100)->cpuPercent, 50.0);
    EXPECT_DOUBLE_EQ(find(second, 101)->cpuPercent, 25.0);
    EXPECT_DOUBLE_EQ(find(second, 105)->cpuPercent, 0.0);
}

// This process on the real system, busy on one thread between two samples: what the sampler reports
// must match the processor time the process really got (other builds may leave it far less than a core).
TEST(LiveProcessSampler, SeesThisBusyProcessOnTheRealSystem) {
    const auto processSeconds = [] {
        timespec used{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    };
    LiveProcessSampler sampler;
    const double usedBefore = processSeconds();
    const auto before = std::chrono::steady_clock::now();
    const std::vector<ProcessSample> first = sampler.sample();
    for (volatile unsigned spin = 0;
         std::chrono::steady_clock::now() - before < std::chrono::milliseconds(500);)
        spin = spin + 1;
    const std::vector<ProcessSample> second = sampler.sample();
    const double share = (processSeconds() - usedBefore) /
                         std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count() *
                         100;

    const ProcessSample* self = find(second, ::getpid());
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(std::tuple(self->uid, self->executable),
              std::tuple(::getuid(), std::filesystem::read_symlink("/proc/self/exe")));
    // Ticks of 10 ms blur each end of the interval by up to one tick.
    EXPECT_NEAR(self->cpuPercent, share, 6 + share * 0.15);
    EXPECT_GT(self->cpuPercent, 5.0);
    EXPECT_GE(first.size(), 3u);
}

#endif
