// Where the app keeps its own files (keep list, check history): one folder per platform layout.
#pragma once

#include "Platform/PlatformLayout.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace velmora {

// macOS: <home>/Library/Application Support/Velmora2. Linux: $XDG_DATA_HOME/Velmora2, where an
// unset, empty or relative XDG_DATA_HOME means <home>/.local/share (as the XDG base directories say).
std::filesystem::path appDataFolder(PlatformLayout layout, const std::filesystem::path& home,
                                    const std::optional<std::string>& xdgDataHome);

// The Linux layout's folder for settings and systemd user units: $XDG_CONFIG_HOME, where an unset,
// empty or relative value means <home>/.config.
std::filesystem::path configFolder(const std::filesystem::path& home,
                                   const std::optional<std::string>& xdgConfigHome);

// The same with XDG_DATA_HOME taken from this process's environment.
std::filesystem::path liveAppDataFolder(PlatformLayout layout, const std::filesystem::path& home);

} // namespace velmora
