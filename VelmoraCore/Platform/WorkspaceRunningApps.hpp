// The live source of running applications and processes, read from the system's process table.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/RunningAppsSource.hpp"

#include <filesystem>
#include <utility>

namespace velmora {

// macOS: the kernel process table (sysctl, proc_pidpath, proc_name). An application is a process that
// is the main executable of an ".app" bundle (AppBundleOfProcess); its bundle identifier and name come
// from that bundle's Info.plist. Quitting asks the application politely through osascript, so that it can
// offer to save open documents; without a command runner nothing can be asked.
//
// Linux: /proc. Every process except kernel threads counts as an application, named by its command
// (`comm`), without a bundle identifier; so terminateApplications never finds a match and returns
// false – killing processes by a guessed name could lose the user's unsaved work.
//
// Processes that end while the table is read, and entries that cannot be read, are left out quietly.
class WorkspaceRunningApps final : public RunningAppsSource {
public:
    // `quitRunner` runs osascript on macOS (unused on Linux); `procRoot` is the process file system
    // read on Linux (tests pass a folder shaped like /proc; unused on macOS).
    explicit WorkspaceRunningApps(CommandRunner* quitRunner = nullptr,
                                  std::filesystem::path procRoot = "/proc")
        : quitRunner_(quitRunner), procRoot_(std::move(procRoot)) {}

    std::vector<RunningAppInfo> runningApplications() const override;
    std::vector<RunningProcessInfo> runningProcesses() const override;
    bool terminateApplications(std::string_view bundleID) override;

private:
    // Each system's implementation uses only one of them.
    [[maybe_unused]] CommandRunner* quitRunner_;
    [[maybe_unused]] std::filesystem::path procRoot_;
};

} // namespace velmora
