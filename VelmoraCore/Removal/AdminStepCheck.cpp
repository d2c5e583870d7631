#include "Removal/AdminStepCheck.hpp"

#include "Safety/SafetyVerdict.hpp"
#include "Safety/ServiceLabel.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
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
constexpr std::string_view singleCoreDump = "Nur rm -f auf ein einzelnes Absturzabbild erlaubt";

constexpr std::array<std::string_view, 7> rmOptions{"-r", "-f", "-R", "-rf", "-fr", "-Rf", "-fR"};

// The Linux clean-up commands, each accepted with exactly these arguments. flatpak is held to the
// system installation (the one the administrator script may change) and must not ask anything.
struct FixedCommand {
    std::string_view executable;
    std::vector<std::string> arguments;
};
const std::vector<FixedCommand>& linuxCommands() {
    static const std::vector<FixedCommand> commands{
        {"/usr/bin/apt-get", {"clean"}},
        {"/usr/bin/journalctl", {"--vacuum-time=4weeks"}},
        {"/usr/bin/flatpak", {"uninstall", "--unused", "--system", "--assumeyes", "--noninteractive"}},
    };
    return commands;
}

constexpr std::array<std::string_view, 4> coreDumpFolder{"var", "lib", "systemd", "coredump"};

std::optional<std::string> realPath(const std::filesystem::path& path) {
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved ? std::optional<std::string>(resolved.get()) : std::nullopt;
}

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

AdminStepCheck::AdminStepCheck(SafetyCheck safety, PlatformLayout layout, std::filesystem::path rootPrefix)
    : safety_(std::move(safety)), layout_(layout), rootPrefix_(std::move(rootPrefix)) {
    for (const auto& part : rootPrefix_.lexically_normal().relative_path())
        if (!part.empty())
            prefixComponents_.push_back(part.string());
}

std::optional<std::string> AdminStepCheck::check(const AdminStep& step) const {
    const auto& args = step.arguments;
    // The script runs on this host, so the macOS tools have no place in a Linux one.
    if (layout_ == PlatformLayout::linux && step.executable != "/bin/rm")
        return checkLinuxTool(step);
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

std::optional<std::string> AdminStepCheck::checkLinuxTool(const AdminStep& step) const {
    for (const auto& command : linuxCommands())
        if (step.executable == command.executable && step.arguments == command.arguments)
            return std::nullopt;
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
        if (auto failure = checkTarget(target, singleForcedFile, arguments))
            return failure;
    return std::nullopt;
}

std::optional<std::string> AdminStepCheck::checkTarget(const std::string& target, bool singleForcedFile,
                                                       const std::vector<std::string>& arguments) const {
    if (!target.starts_with('/'))
        return std::string(outside);
    const auto components = unambiguousComponents(target);
    if (!components)
        return std::string(ambiguous);

    // The path as the system would see it, once the stand-in for "/" is taken off.
    if (components->size() < prefixComponents_.size() ||
        !std::equal(prefixComponents_.begin(), prefixComponents_.end(), components->begin()))
        return std::string(outside);
    const std::vector<std::string> exact(
        components->begin() + static_cast<std::ptrdiff_t>(prefixComponents_.size()), components->end());
    std::vector<std::string> logical;
    for (const auto& component : exact)
        logical.push_back(Text::lowercased(component));
    // The stand-in itself is "/", which ends with a slash.
    if (logical.empty())
        return std::string(ambiguous);

    if (layout_ == PlatformLayout::linux && exact.size() >= coreDumpFolder.size() &&
        std::equal(coreDumpFolder.begin(), coreDumpFolder.end(), exact.begin()))
        return checkCoreDump(exact, arguments);

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

// The Linux guard denies everything outside the home folder, so it cannot vouch for a crash dump; this
// rule stands in its place and is as narrow as the clean-up needs: "rm -f [--] <file>" on one file
// directly in the coredump folder whose name systemd-coredump gave it ("core.…"), in a folder that is
// really that folder (no link anywhere on the way, which could lead the removal elsewhere).
std::optional<std::string> AdminStepCheck::checkCoreDump(const std::vector<std::string>& exact,
                                                         const std::vector<std::string>& arguments) const {
    constexpr std::string_view prefix = "core.";
    const bool shape = (arguments.size() == 2 && arguments[0] == "-f") ||
                       (arguments.size() == 3 && arguments[0] == "-f" && arguments[1] == "--");
    if (!shape || exact.size() != coreDumpFolder.size() + 1 || !exact.back().starts_with(prefix) ||
        exact.back().size() == prefix.size())
        return std::string(singleCoreDump);
    const auto folder = realPath(rootPrefix_ / "var/lib/systemd/coredump");
    const auto root = realPath(rootPrefix_);
    if (!folder || !root)
        return std::string(SafetyReason::unresolvable);
    if (*folder != (*root == "/" ? std::string() : *root) + "/var/lib/systemd/coredump")
        return std::string(SafetyReason::symlinkLeadsOut);
    return std::nullopt;
}

} // namespace velmora
