// The allow-list every administrator step must pass before it may enter the script: which programs,
// which arguments, which rm targets. A step that fails never runs.
#pragma once

#include "Findings/AdminStep.hpp"
#include "Removal/SafetyCheck.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

// The rm rules judge a target as the system would see it: `rootPrefix` stands for "/" (a temp folder
// in tests) and is stripped before the rules about /Library look at the path, while the safety guard
// is asked about the target exactly as the step names it.
class AdminStepCheck {
public:
    explicit AdminStepCheck(SafetyCheck safety, std::filesystem::path rootPrefix = "/");

    // Nothing when the step is accepted, else the German reason ("Unbekanntes Admin-Werkzeug",
    // "Ungültiges Dienst-Label", the rm texts, or the guard's own reason).
    std::optional<std::string> check(const AdminStep& step) const;

private:
    std::optional<std::string> checkRemove(const std::vector<std::string>& arguments) const;
    std::optional<std::string> checkTarget(const std::string& target, bool singleForcedFile) const;

    SafetyCheck safety_;
    std::vector<std::string> prefixComponents_;
};

} // namespace velmora
