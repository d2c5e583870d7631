// What the removal needs to know about Homebrew commands: the cask an uninstall names, adding
// "--zap", and recognising a tap Homebrew refuses to trust, with the commands that fix it.
#pragma once

#include "Findings/ToolCommand.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace velmora::BrewCommand {

// The tool is brew (by name or as a path ending in /brew).
bool isBrew(const ToolCommand& command);
// "brew uninstall … --cask …".
bool isCaskUninstall(const ToolCommand& command);
// The cask of a cask uninstall: its last argument that is not an option.
std::optional<std::string> caskName(const ToolCommand& command);
// A cask uninstall with "--zap" right after "--cask" (once); any other command unchanged.
ToolCommand withZap(ToolCommand command);

// When `output` of a failed brew command names an untrusted tap ("untrusted tap <user/repo>" or
// "tap <user/repo> is not trusted"): "Homebrew vertraut diesem Tap nicht. Führe nacheinander aus: brew
// trust <tap> · brew uninstall --cask <cask>". For a brew command that is not a cask uninstall the
// second command is the failed one itself. Nothing for other output and other tools.
std::optional<std::string> trustHint(const ToolCommand& command, std::string_view output);

} // namespace velmora::BrewCommand
