// Running processes on Linux, read from /proc/<pid>/comm, exe, cmdline and cgroup.
#include "Platform/WorkspaceRunningApps.hpp"

#include "Platform/Linux/SystemdAppUnit.hpp"
#include "Platform/SmallFile.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include <dirent.h>

namespace velmora {

namespace {

struct ProcEntry {
    RunningProcessInfo info;
    bool kernelThread = false;
    std::optional<std::string> desktopID;
};

std::optional<pid_t> pidFromName(std::string_view name) {
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error != std::errc{} || end != name.data() + name.size() || pid <= 0)
        return std::nullopt;
    return pid;
}

// The process's executable; empty when it is a kernel thread, a zombie, or not ours to read.
std::filesystem::path executableOf(const std::filesystem::path& processDir) {
    std::error_code error;
    std::filesystem::path target = std::filesystem::read_symlink(processDir / "exe", error);
    if (error)
        return {};
    // An executable replaced or removed while running is shown with this suffix.
    constexpr std::string_view deleted = " (deleted)";
    const std::string& text = target.native();
    if (text.size() > deleted.size() && text.ends_with(deleted))
        target = text.substr(0, text.size() - deleted.size());
    return target;
}

std::optional<ProcEntry> readProcess(const std::filesystem::path& procRoot, pid_t pid,
                                     std::string_view dirName) {
    const std::filesystem::path processDir = procRoot / dirName;
    // No name: the process ended meanwhile, or we may not look at it.
    std::optional<std::string> comm = readSmallFile(processDir / "comm");
    if (!comm)
        return std::nullopt;
    if (!comm->empty() && comm->back() == '\n')
        comm->pop_back();
    ProcEntry entry;
    entry.info.pid = pid;
    entry.info.name = Text::repairUTF8(*comm);
    entry.info.executable = executableOf(processDir);
    if (const std::optional<std::string> cgroup = readSmallFile(processDir / "cgroup"))
        if (std::string id = appIdOfCgroup(*cgroup); !id.empty())
            entry.desktopID = std::move(id);
    // Kernel threads have no command line and no executable (zombies neither; they are not running).
    if (entry.info.executable.empty()) {
        const std::optional<std::string> cmdline = readSmallFile(processDir / "cmdline");
        entry.kernelThread = !cmdline || cmdline->empty();
    }
    return entry;
}

std::vector<ProcEntry> readProcessTable(const std::filesystem::path& procRoot) {
    std::vector<ProcEntry> entries;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(procRoot.c_str()), ::closedir);
    if (!dir)
        return entries;
    for (;;) {
        errno = 0;
        const dirent* item = ::readdir(dir.get());
        if (item == nullptr)
            break;
        const std::optional<pid_t> pid = pidFromName(item->d_name);
        if (!pid)
            continue;
        if (std::optional<ProcEntry> entry = readProcess(procRoot, *pid, item->d_name))
            entries.push_back(std::move(*entry));
    }
    return entries;
}

} // namespace

std::vector<RunningProcessInfo> WorkspaceRunningApps::runningProcesses() const {
    std::vector<RunningProcessInfo> processes;
    for (ProcEntry& entry : readProcessTable(procRoot_))
        processes.push_back(std::move(entry.info));
    return processes;
}

std::vector<RunningAppInfo> WorkspaceRunningApps::runningApplications() const {
    std::vector<RunningAppInfo> apps;
    for (ProcEntry& entry : readProcessTable(procRoot_))
        if (!entry.kernelThread)
            apps.push_back(
                RunningAppInfo{.pid = entry.info.pid, .bundleID = entry.desktopID, .name = entry.info.name});
    return apps;
}

bool WorkspaceRunningApps::terminateApplications(std::string_view) {
    return false;
}

} // namespace velmora
