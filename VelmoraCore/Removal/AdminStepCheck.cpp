#include "Removal/AdminStepCheck.hpp"

#include "Safety/ServiceLabel.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace velmora {

namespace {

constexpr std::string_view unknownTool = "Unbekanntes Admin-Werkzeug";
constexpr std::string_view invalidLabel = "Ungültiges Dienst-Label";
constexpr std::string_view unknownOption = "Unbekannte rm-Option";
constexpr std::string_view noTarget = "Kein Ziel angegeben";
constexpr std::string_view outside = "Liegt außerhalb der erlaubten Ordner";
constexpr std::string_view ambiguous = "Pfad nicht eindeutig";
constexpr std::string_view singleServiceFile = "Nur rm -f auf eine einzelne Dienst-Datei erlaubt";

constexpr std::array<std::string_view, 7> rmOptions{"-r", "-f", "-R", "-rf", "-fr", "-Rf", "-fR"};

bool isSnapshotDate(std::string_view text) {
    // \A[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{6}\z
    constexpr std::string_view shape = "dddd-dd-dd-dddddd";
    if (text.size() != shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool ok = shape[i] == 'd' ? (text[i] >= '0' && text[i] <= '9') : text[i] == '-';
        if (!ok)
            return false;
    }
    return true;
}

// The components of an absolute path written with single slashes; nothing when the text is not
// unambiguous (a trailing slash, an empty component, "." or ".."). A NUL byte would end the path early
// once the script is handed to the system, so it makes the path ambiguous too.
std::optional<std::vector<std::string>> unambiguousComponents(std::string_view path) {
    if (path.empty() || path.front() != '/' || path.back() == '/' ||
        path.find('\0') != std::string_view::npos)
        return std::nullopt;
    std::vector<std::string> components;
    std::size_t position = 1;
    while (position <= path.size()) {
        const auto end = std::min(path.find('/', position), path.size());
        const auto component = path.substr(position, end - position);
        if (component.empty() || component == "." || component == "..")
            return std::nullopt;
        components.emplace_back(component);
        position = end + 1;
    }
    return components;
}

} // namespace

AdminStepCheck::AdminStepCheck(SafetyCheck safety, std::filesystem::path rootPrefix)
    : safety_(std::move(safety)) {
    for (const auto& part : rootPrefix.lexically_normal().relative_path())
        if (!part.empty())
            prefixComponents_.push_back(part.string());
}

std::optional<std::string> AdminStepCheck::check(const AdminStep& step) const {
    const auto& args = step.arguments;
    if (step.executable == "/bin/launchctl") {
        if (args.size() != 2 || args[0] != "bootout")
            return std::string(unknownTool);
        constexpr std::string_view domain = "system/";
        if (!args[1].starts_with(domain) ||
            !ServiceLabel::isValid(std::string_view(args[1]).substr(domain.size())))
            return std::string(invalidLabel);
        return std::nullopt;
    }
    if (step.executable == "/usr/bin/tmutil") {
        if (args.size() == 2 && args[0] == "deletelocalsnapshots" && isSnapshotDate(args[1]))
            return std::nullopt;
        return std::string(unknownTool);
    }
    if (step.executable == "/usr/bin/log") {
        if (args == std::vector<std::string>{"erase", "--all"})
            return std::nullopt;
        return std::string(unknownTool);
    }
    if (step.executable == "/bin/rm")
        return checkRemove(args);
    return std::string(unknownTool);
}

std::optional<std::string> AdminStepCheck::checkRemove(const std::vector<std::string>& arguments) const {
    std::vector<std::string> options;
    std::vector<std::string> targets;
    bool afterSeparator = false;
    for (const auto& argument : arguments) {
        if (afterSeparator)
            targets.push_back(argument);
        else if (argument == "--")
            afterSeparator = true;
        else if (argument.starts_with('-'))
            options.push_back(argument);
        else
            targets.push_back(argument);
    }
    // Every option before "--" counts wherever it stands, as GNU rm reads options after targets too.
    for (const auto& option : options)
        if (std::ranges::find(rmOptions, option) == rmOptions.end())
            return std::string(unknownOption);
    if (targets.empty())
        return std::string(noTarget);

    const bool singleForcedFile = targets.size() == 1 && options == std::vector<std::string>{"-f"};
    for (const auto& target : targets)
        if (auto failure = checkTarget(target, singleForcedFile))
            return failure;
    return std::nullopt;
}

std::optional<std::string> AdminStepCheck::checkTarget(const std::string& target,
                                                       bool singleForcedFile) const {
    if (!target.starts_with('/'))
        return std::string(outside);
    const auto components = unambiguousComponents(target);
    if (!components)
        return std::string(ambiguous);

    // The path as the system would see it, once the stand-in for "/" is taken off.
    if (components->size() < prefixComponents_.size() ||
        !std::equal(prefixComponents_.begin(), prefixComponents_.end(), components->begin()))
        return std::string(outside);
    std::vector<std::string> logical;
    for (auto it = components->begin() + static_cast<std::ptrdiff_t>(prefixComponents_.size());
         it != components->end(); ++it)
        logical.push_back(Text::lowercased(*it));
    // The stand-in itself is "/", which ends with a slash.
    if (logical.empty())
        return std::string(ambiguous);

    if (logical.size() >= 4 && logical[0] == "library" && logical[1] == "caches")
        return std::string(ambiguous);

    if (logical.size() >= 2 && logical[0] == "library" &&
        (logical[1] == "launchagents" || logical[1] == "launchdaemons")) {
        constexpr std::string_view suffix = ".plist";
        if (!singleForcedFile || logical.size() != 3 || !logical[2].ends_with(suffix))
            return std::string(singleServiceFile);
        const std::string_view name = logical[2];
        if (!ServiceLabel::isValid(name.substr(0, name.size() - suffix.size())))
            return std::string(invalidLabel);
    }

    // Without a guard nothing may be removed: a missing one is a wiring fault, not a permission.
    if (!safety_)
        return std::string("Keine Sicherheitsprüfung verfügbar");
    return safety_(std::filesystem::path(target));
}

} // namespace velmora
