#include "Removal/BrewCommand.hpp"

#include "Findings/ShellQuote.hpp"

#include <algorithm>
#include <filesystem>
#include <regex>

namespace velmora::BrewCommand {

bool isBrew(const ToolCommand& command) {
    return command.tool == "brew" || std::filesystem::path(command.tool).filename() == "brew";
}

bool isCaskUninstall(const ToolCommand& command) {
    const auto& args = command.arguments;
    return isBrew(command) && !args.empty() && args.front() == "uninstall" &&
           std::ranges::find(args, "--cask") != args.end();
}

std::optional<std::string> caskName(const ToolCommand& command) {
    if (!isCaskUninstall(command))
        return std::nullopt;
    const auto& args = command.arguments;
    for (auto it = args.rbegin(); it != args.rend() - 1; ++it)
        if (!it->empty() && !it->starts_with('-'))
            return *it;
    return std::nullopt;
}

ToolCommand withZap(ToolCommand command) {
    if (!isCaskUninstall(command) || std::ranges::find(command.arguments, "--zap") != command.arguments.end())
        return command;
    auto cask = std::ranges::find(command.arguments, "--cask");
    command.arguments.insert(cask + 1, "--zap");
    return command;
}

std::optional<std::string> trustHint(const ToolCommand& command, std::string_view output) {
    if (!isBrew(command))
        return std::nullopt;
    static const std::regex untrusted(R"(untrusted tap\s+([A-Za-z0-9_.-]+/[A-Za-z0-9_.-]+))");
    static const std::regex notTrusted(R"(tap\s+([A-Za-z0-9_.-]+/[A-Za-z0-9_.-]+)\s+is not trusted)");
    const std::string text(output);
    std::smatch match;
    if (!std::regex_search(text, match, untrusted) && !std::regex_search(text, match, notTrusted))
        return std::nullopt;
    std::string again;
    if (const auto cask = caskName(command)) {
        again = "brew uninstall --cask " + *cask;
    } else {
        again = "brew";
        for (const auto& argument : command.arguments)
            again += " " + ShellQuote::quote(argument);
    }
    return "Homebrew vertraut diesem Tap nicht. Führe nacheinander aus: brew trust " + match[1].str() +
           " · " + again;
}

} // namespace velmora::BrewCommand
