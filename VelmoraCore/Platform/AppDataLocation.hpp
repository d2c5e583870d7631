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

// The same with XDG_DATA_HOME taken from this process's environment.
std::filesystem::path liveAppDataFolder(PlatformLayout layout, const std::filesystem::path& home);

} // namespace velmora
