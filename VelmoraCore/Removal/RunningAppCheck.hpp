// Tells whether an application that must be quit before an item goes is running, from one look at
// the running applications and processes.
#pragma once

#include "Findings/AppRef.hpp"
#include "Findings/Finding.hpp"
#include "Findings/FindingItem.hpp"
#include "Platform/RunningAppsSource.hpp"

#include <optional>
#include <string>
#include <vector>

namespace velmora {

class RunningAppCheck {
public:
    // Reads the running applications and processes once; later questions are answered from that.
    static RunningAppCheck take(const RunningAppsSource& source);

    // True when neither the finding nor any of `items` names an application to quit, so that the
    // system need not be asked at all.
    static bool nothingToCheck(const Finding& finding, const std::vector<FindingItem>& items);

    // An application matches by bundle identifier where both sides have one (macOS); otherwise by
    // process name against the running processes (Linux has no bundle identifiers). The kernel keeps
    // only 15 bytes of a Linux process name, so a name of exactly that length matches a longer
    // process name it begins, and the executable's file name counts too.
    bool isRunning(const AppRef& app) const;

    // The reason an item must wait: "<name> läuft – vorher beenden" for the first running application
    // among the item's own blocking application and then the finding's; nothing when none runs.
    std::optional<std::string> blocker(const Finding& finding, const FindingItem* item) const;

    // "<name> läuft – vorher beenden", the name being the display name, else the process name or
    // bundle identifier.
    static std::string runningText(const AppRef& app);

private:
    std::vector<RunningAppInfo> apps_;
    std::vector<RunningProcessInfo> processes_;
};

} // namespace velmora
