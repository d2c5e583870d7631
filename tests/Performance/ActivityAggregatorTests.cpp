#include "Performance/ActivityAggregator.hpp"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

ProcessSample proc(int pid, std::string exe, double cpu, std::uint32_t uid = 501, std::string scope = {},
                   bool kernel = false) {
    ProcessSample sample;
    sample.pid = pid;
    sample.executable = exe;
    sample.name = std::filesystem::path(exe).filename().string().substr(0, 15);
    sample.cpuPercent = cpu;
    sample.residentBytes = 1000;
    sample.uid = uid;
    sample.appScope = std::move(scope);
    sample.kernelThread = kernel;
    return sample;
}

} // namespace

TEST(ActivityAggregator, GroupsByAppAndTellsSystemAndQuittable) {
    const std::string chrome = "/Applications/Google Chrome.app";
    const std::vector<ProcessSample> mac = {
        proc(10, chrome + "/Contents/MacOS/Google Chrome", 20),
        proc(11,
             chrome + "/Contents/Frameworks/Google Chrome Framework.framework/Versions/1/Helpers/"
                      "Google Chrome Helper (Renderer).app/Contents/MacOS/Google Chrome Helper (Renderer)",
             70),
        proc(12, "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder", 5),
        proc(13, "/System/Applications/Notes.app/Contents/MacOS/Notes", 4),
        proc(14, "/usr/libexec/trustd", 3),
        proc(15, "/usr/local/bin/node", 2),
        proc(16, "/Applications/Velmora.app/Contents/MacOS/Velmora", 1.5),
        // Only a compiler inside Xcode runs: quitting Xcode would not stop it.
        proc(17, "/Applications/Xcode.app/Contents/Developer/usr/bin/clang", 1),
        proc(18, "/Library/PrivilegedHelperTools/helper", 0.5, 0),
        proc(19, "/System/Volumes/Data/Applications/Other.app/Contents/MacOS/Other", 0.4, 502),
    };
    const std::vector<ActivityEntry> expected = {
        {chrome, "Google Chrome", 90, 2000, false, true},
        {"/System/Library/CoreServices/Finder.app", "Finder", 5, 1000, true, false},
        {"/System/Applications/Notes.app", "Notes", 4, 1000, false, true},
        {"system:trustd", "trustd", 3, 1000, true, false},
        {"process:node", "node", 2, 1000, false, false},
        {"/Applications/Velmora.app", "Velmora", 1.5, 1000, false, false},
        {"/Applications/Xcode.app", "Xcode", 1, 1000, false, false},
        {"system:helper", "helper", 0.5, 1000, true, false},
        {"/Applications/Other.app", "Other", 0.4, 1000, false, false},
    };
    EXPECT_EQ(ActivityAggregator::aggregate(mac, {PlatformLayout::macOS, 501, 16, {}}), expected);

    const std::vector<ProcessSample> linux = {
        proc(20, "/usr/lib/firefox/firefox", 30, 1000, "firefox"),
        proc(21, "/usr/lib/firefox/firefox", 30, 1000, "firefox"),
        proc(22, "/usr/bin/yes", 99, 1000),
        proc(23, "", 1, 0, {}, true),
        proc(24, "", 2, 0, {}, true),
        proc(25, "/usr/sbin/sshd", 0.5, 0),
        proc(26, "/usr/sbin/sshd", 0.5, 1000),
        proc(27, "/opt/velmora/velmora", 0.2, 1000, "velmora"),
        proc(28, "/usr/bin/gedit", 0.1, 1001, "org.gnome.gedit"),
    };
    const std::vector<ActivityEntry> expectedLinux = {
        {"process:yes", "yes", 99, 1000, false, false},
        {"app:firefox", "Firefox", 60, 2000, false, true},
        {"kernel", "Kernel", 3, 2000, true, false},
        {"process:sshd", "sshd", 0.5, 1000, false, false},
        {"system:sshd", "sshd", 0.5, 1000, true, false},
        {"app:velmora", "velmora", 0.2, 1000, false, false},
        {"app:org.gnome.gedit", "org.gnome.gedit", 0.1, 1000, false, false},
    };
    int asked = 0;
    const auto names = [&](const std::string& id) -> std::optional<std::string> {
        ++asked;
        return id == "firefox" ? std::optional<std::string>("Firefox") : std::nullopt;
    };
    EXPECT_EQ(ActivityAggregator::aggregate(linux, {PlatformLayout::linux, 1000, 27, names}), expectedLinux);
    EXPECT_EQ(asked, 3) << "each app id is looked up once per sample";
}
