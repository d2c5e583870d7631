// Running processes and applications on macOS, from the kernel process table and the Info.plist of
// the application bundle each app's main executable lies in.
#include "Platform/WorkspaceRunningApps.hpp"

#include "Platform/AppBundleOfProcess.hpp"
#include "Platform/MacOS/ProcessTable.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <libproc.h>
#include <sys/param.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace velmora {

namespace {

struct KernelProcess {
    pid_t pid = 0;
    std::string command; // the kernel's short name, for when proc_name cannot tell
};

std::vector<KernelProcess> processTable() {
    std::vector<KernelProcess> processes;
    for (const kinfo_proc& entry : kernelProcessTable()) {
        // pid 0 is the kernel itself.
        if (entry.kp_proc.p_pid <= 0)
            continue;
        const char* comm = entry.kp_proc.p_comm;
        processes.push_back(
            {entry.kp_proc.p_pid, std::string(comm, ::strnlen(comm, sizeof entry.kp_proc.p_comm))});
    }
    return processes;
}

// Bundle identifiers are reverse-DNS names; anything else is refused before it reaches a script.
bool plausibleBundleID(std::string_view id) {
    if (id.empty() || id.size() > 255)
        return false;
    return std::all_of(id.begin(), id.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '.' || c == '-' || c == '_'; });
}

} // namespace

std::vector<RunningProcessInfo> WorkspaceRunningApps::runningProcesses() const {
    std::vector<RunningProcessInfo> processes;
    for (const KernelProcess& process : processTable()) {
        std::filesystem::path executable = executablePathOf(process.pid);
        std::string name = processNameOf(process.pid);
        // Neither answer: the process ended while we were reading the table.
        if (executable.empty() && name.empty())
            continue;
        if (name.empty())
            name = process.command;
        processes.push_back({process.pid, std::move(executable), Text::repairUTF8(name)});
    }
    return processes;
}

std::vector<RunningAppInfo> WorkspaceRunningApps::runningApplications() const {
    std::vector<RunningAppInfo> apps;
    AppBundleOfProcess bundles;
    for (const RunningProcessInfo& process : runningProcesses()) {
        if (std::optional<AppBundleOfProcess::App> app = bundles.appOf(process.executable))
            apps.push_back(
                {process.pid, std::move(app->bundleID), app->name.empty() ? process.name : app->name});
    }
    return apps;
}

bool WorkspaceRunningApps::terminateApplications(std::string_view bundleID) {
    if (quitRunner_ == nullptr || !plausibleBundleID(bundleID))
        return false;
    const std::vector<RunningAppInfo> apps = runningApplications();
    const bool running = std::any_of(apps.begin(), apps.end(),
                                     [&](const RunningAppInfo& app) { return app.bundleID == bundleID; });
    if (!running)
        return false;
    // A quit event rather than a signal, so that the app can ask to save open documents; osascript does
    // not wait for that answer.
    const std::string tell = "tell application id \"" + std::string(bundleID) + "\" to quit";
    const auto result = quitRunner_->run(
        "/usr/bin/osascript", {"-e", "ignoring application responses", "-e", tell, "-e", "end ignoring"},
        std::chrono::seconds(10));
    return result.has_value() && result->exitCode == 0;
}

} // namespace velmora
