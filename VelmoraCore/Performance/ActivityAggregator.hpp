// Groups the processes of one sample by the app they belong to, for the activity list and the
// slowdown detector.
#pragma once

#include "Performance/ActivityEntry.hpp"
#include "Performance/ProcessSample.hpp"
#include "Platform/PlatformLayout.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

// macOS: a process belongs to the outermost ".app" its executable lies in, so that helpers such as
// "… Helper (Renderer).app" inside the app's Contents count to the app; its id is the bundle's path.
// Linux: a process belongs to the desktop app whose systemd unit it runs in (appScope), named by
// `desktopName`. Every other process stands alone, grouped with those of the same program name.
//
// isSystem: macOS programs below /System (apps in /System/Applications excepted: the user starts and
// quits those), /usr (not /usr/local), /bin, /sbin, /Library/Apple and /private, and processes of
// system accounts (uid below 500); Linux kernel threads and processes of system accounts (uid below
// 1000). An app is system only when all its processes are.
// canQuit: an app (macOS: its main program runs; Linux: a desktop app's unit), not system, all
// processes owned by `ownUid`, and none of them is `ownPid` – Velmora never offers to quit itself.
class ActivityAggregator {
public:
    struct Setup {
        PlatformLayout layout = hostLayout();
        std::uint32_t ownUid = 0;
        int ownPid = 0;
        // The shown name of a desktop app id (its .desktop file's Name=); nothing keeps the id.
        std::function<std::optional<std::string>(const std::string& appScope)> desktopName{};
    };

    // Sorted by cpuPercent, then memory, descending; ties by name and id.
    static std::vector<ActivityEntry> aggregate(const std::vector<ProcessSample>& processes,
                                                const Setup& setup);
};

} // namespace velmora
