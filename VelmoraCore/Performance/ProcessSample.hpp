// One process as the process sampler saw it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace velmora {

struct ProcessSample {
    int pid = 0;
    int parentPid = 0;
    std::string name; // the short process name (comm)
    std::filesystem::path
        executable;        // empty when it cannot be read (another user's process, a kernel thread)
    double cpuPercent = 0; // percent of one core since the previous sample (0 in the first)
    std::int64_t residentBytes = 0;
    std::uint32_t uid = 0;
    bool kernelThread = false;
    // Linux: the desktop application the process was started as, from its systemd scope
    // ("app-gnome-firefox-1234.scope" → "firefox"), empty when none.
    std::string appScope;

    bool operator==(const ProcessSample&) const = default;
};

} // namespace velmora
