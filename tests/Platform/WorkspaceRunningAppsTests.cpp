#include "Platform/WorkspaceRunningApps.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include <unistd.h>

using namespace velmora;
using velmora::testing::TempTree;

#ifdef __linux__

// This test process as the system lists it, then a made-up process folder with what a real one holds:
// entries that cannot be read and kernel threads are skipped.
TEST(WorkspaceRunningApps, FindsThisTestProcessAndSkipsWhatCannotBeReadAndKernelThreads) {
    WorkspaceRunningApps source;
    const auto processes = source.runningProcesses();
    const auto self = std::ranges::find(processes, ::getpid(), &RunningProcessInfo::pid);
    ASSERT_NE(self, processes.end());
    EXPECT_EQ(self->executable, std::filesystem::read_symlink("/proc/self/exe"));
    EXPECT_EQ(self->executable.filename().string().substr(0, 15), self->name)
        << "comm is the name, cut at 15";
    EXPECT_FALSE(source.terminateApplications("de.tobrenlux.velmora2")) << "Linux apps are not asked to quit";

    TempTree proc;
    // An ordinary process whose program was replaced while it runs.
    proc.file("100/comm", "editor\n");
    proc.file("100/cmdline", std::string("/usr/bin/editor\0file.txt\0", 25));
    proc.link("100/exe", "/usr/bin/editor (deleted)");
    // Started by the desktop: its systemd unit names the desktop id ("-" escaped).
    proc.file("100/cgroup", "12:pids:/user.slice\n1:name=systemd:/user.slice/user@1000.service/app.slice/"
                            "app-flatpak-org.example.My\\x2dEditor-4242.scope\n0::/\n");
    proc.file("400/cgroup", "0::/user.slice/user-1000.slice/session-2.scope\n");
    // Vanished between listing /proc and reading it, or between opening and reading its name (read
    // fails after open succeeded, as with a folder).
    proc.folder("200");
    proc.folder("500/comm");
    // A kernel thread: a name, no program, no command line.
    proc.file("300/comm", "kworker/0:1\n");
    proc.file("300/cmdline", "");
    // Another user's process: the program is hidden, the command line is not.
    proc.file("400/comm", "caf\xe9\n");
    proc.file("400/cmdline", std::string("cafe\0", 5));
    // Not processes.
    proc.file("self/comm", "nope\n");
    proc.file("12x/comm", "nope\n");
    proc.file("0/comm", "nope\n");
    proc.file("uptime", "1 2\n");

    WorkspaceRunningApps fake(nullptr, proc.root());
    const auto byPid = [](auto list) {
        std::ranges::sort(list, {}, [](const auto& info) { return info.pid; });
        return list;
    };
    EXPECT_EQ(byPid(fake.runningProcesses()), (std::vector<RunningProcessInfo>{
                                                  {100, "/usr/bin/editor", "editor"},
                                                  {300, "", "kworker/0:1"},
                                                  {400, "", "caf\xef\xbf\xbd"},
                                              }));
    EXPECT_EQ(byPid(fake.runningApplications()), (std::vector<RunningAppInfo>{
                                                     {100, "org.example.My-Editor", "editor"},
                                                     {400, std::nullopt, "caf\xef\xbf\xbd"},
                                                 }));
    EXPECT_TRUE(WorkspaceRunningApps(nullptr, proc / "missing").runningProcesses().empty());
}

#endif
