// Which applications and processes are running. The live implementation is WorkspaceRunningApps.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace velmora {

struct RunningAppInfo {
    pid_t pid = 0;
    std::optional<std::string> bundleID; // on Linux the desktop id of the app's systemd unit, if any
    std::string name;

    bool operator==(const RunningAppInfo&) const = default;
};

struct RunningProcessInfo {
    pid_t pid = 0;
    std::filesystem::path executable; // empty when the system would not tell
    std::string name;

    bool operator==(const RunningProcessInfo&) const = default;
};

// Thread-safe; every call reads the system afresh.
class RunningAppsSource {
public:
    virtual ~RunningAppsSource() = default;

    // The running applications (on Linux: every process the user can see, named by its command).
    virtual std::vector<RunningAppInfo> runningApplications() const = 0;
    // Every running process with its executable path and name.
    virtual std::vector<RunningProcessInfo> runningProcesses() const = 0;
    // Asks every running application with this bundle identifier to quit; false when none was asked.
    virtual bool terminateApplications(std::string_view bundleID) = 0;
};

} // namespace velmora
