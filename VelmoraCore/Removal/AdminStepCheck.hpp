// The allow-list every administrator step must pass before it may enter the script: which programs,
// which arguments, which rm targets. A step that fails never runs.
#pragma once

#include "Findings/AdminStep.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Removal/SafetyCheck.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

// The rm rules judge a target as the system would see it: `rootPrefix` stands for "/" (a temp folder
// in tests) and is stripped before the rules about /Library look at the path, while the safety guard
// is asked about the target exactly as the step names it.
//
// The layout decides the tool list: the macOS one (launchctl, tmutil, log, rm), or the Linux one,
// which has none of the macOS tools (the script runs on this host) but the system clean-up commands
// "apt-get clean", "journalctl --vacuum-time=4weeks", "flatpak uninstall --unused" with fixed flags,
// and "rm -f" of single crash dumps; nothing broader.
class AdminStepCheck {
public:
    AdminStepCheck(SafetyCheck safety, PlatformLayout layout, std::filesystem::path rootPrefix = "/");

    // Nothing when the step is accepted, else the German reason ("Unbekanntes Admin-Werkzeug",
    // "Ungültiges Dienst-Label", the rm texts, or the guard's own reason).
    std::optional<std::string> check(const AdminStep& step) const;

private:
    std::optional<std::string> checkLinuxTool(const AdminStep& step) const;
    std::optional<std::string> checkRemove(const std::vector<std::string>& arguments) const;
    std::optional<std::string> checkTarget(const std::string& target, bool singleForcedFile,
                                           const std::vector<std::string>& arguments) const;
    std::optional<std::string> checkCoreDump(const std::vector<std::string>& exact,
                                             const std::vector<std::string>& arguments) const;

    SafetyCheck safety_;
    PlatformLayout layout_;
    std::filesystem::path rootPrefix_;
    std::vector<std::string> prefixComponents_;
};

} // namespace velmora
