#include "Platform/AppBundleOfProcess.hpp"
#include "Platform/WorkspaceRunningApps.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include <unistd.h>

using namespace velmora;
using velmora::testing::TempTree;
using App = AppBundleOfProcess::App;

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

TEST(AppBundleOfProcess, OnlyTheMainExecutableOfTheInnermostBundleIsItsApp) {
    velmora::testing::TempTree tree;
    const auto text = [](const std::string& key, const std::string& value) {
        return "<key>" + key + "</key><string>" + value + "</string>";
    };
    const auto id = [&](const std::string& value) { return text("CFBundleIdentifier", value); };
    const std::string xcode = "Applications/Xcode.app";
    const std::pair<std::string, std::string> infoPlists[] = {
        {xcode,
         id("com.apple.dt.Xcode") + text("CFBundleName", "Xcode") + text("CFBundleExecutable", "Xcode")},
        {xcode + "/Contents/Developer/Applications/Simulator.app",
         id("com.apple.iphonesimulator") + text("CFBundleExecutable", "Simulator")},
        {"Applications/Plain.app", id("org.example.plain") + text("CFBundleDisplayName", "Schlicht")},
        {"Applications/Odd.APP", id("org.example.odd") + "<key>CFBundleExecutable</key><integer>7</integer>"},
        {"Applications/Slash.app", id("org.example.slash") + text("CFBundleExecutable", "../MacOS/Slash")},
        {"Applications/Up.app", id("org.example.up") + text("CFBundleExecutable", "..")},
        {"Applications/Anonymous.app", text("CFBundleExecutable", "Anonymous")},
    };
    for (const auto& [bundle, entries] : infoPlists)
        std::ofstream(tree.folder(bundle + "/Contents") / "Info.plist")
            << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" << entries
            << "</dict></plist>\n";
    tree.folder(xcode + "/Contents/Frameworks/Helper.app/Contents"); // a nested app without an Info.plist
    tree.filledFile("Applications/Garbage.app/Contents/Info.plist", 300);

    const App xcodeApp{"com.apple.dt.Xcode", "Xcode"};
    const struct {
        std::string executable;
        std::optional<App> app;
    } cases[] = {
        {"/Applications/Xcode.app/Contents/MacOS/Xcode", xcodeApp},
        {"/Applications/Xcode.app/Contents/MacOS/xcode", xcodeApp}, // APFS ignores case
        {"/Applications/Xcode.app/Contents/Developer/Toolchains/XcodeDefault.xctoolchain/usr/bin/clang", {}},
        {"/Applications/Xcode.app/Contents/MacOS/XCBBuildService", {}},
        {"/Applications/Xcode.app/Contents/Developer/Applications/Simulator.app/Contents/MacOS/Simulator",
         App{"com.apple.iphonesimulator", ""}},
        {"/Applications/Xcode.app/Contents/Frameworks/Helper.app/Contents/MacOS/Helper", {}},
        {"/Applications/Plain.app/Contents/MacOS/Plain",
         App{"org.example.plain", "Schlicht"}},                                   // no key: the bundle's name
        {"/Applications/Odd.APP/Contents/MacOS/Odd", App{"org.example.odd", ""}}, // not text: the same
        {"/Applications/Slash.app/Contents/MacOS/Slash", {}},
        {"/Applications/Up.app/Contents/MacOS/..", {}},
        {"/Applications/Anonymous.app/Contents/MacOS/Anonymous", {}},
        {"/Applications/Garbage.app/Contents/MacOS/Garbage", {}},
        {"Applications/Xcode.app/Contents/MacOS/Xcode", {}},
        {"", {}},
    };
    AppBundleOfProcess bundles(tree.root());
    for (const auto& c : cases)
        EXPECT_EQ(bundles.appOf(c.executable), c.app) << c.executable;
}
