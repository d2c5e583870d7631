// Finds executables that do not live at a fixed system path (brew, npm, go, conda …).
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ToolLocator {
    std::vector<std::filesystem::path> searchPaths;
    // The file-system test; replaceable so that tests need no real tools.
    std::function<bool(const std::filesystem::path&)> fileExists;

    // The default search path for a home folder: Homebrew first (Apple silicon before Intel), then the
    // system folders, then the per-tool folders. `linuxLayout` adds the folders Linux installs use:
    // ~/.local/bin, /usr/local/go/bin, pnpm's home (`pnpmHome`, default ~/.local/share/pnpm) and the bin
    // folder of nvm's default Node version.
    static std::vector<std::filesystem::path> defaultSearchPaths(const std::filesystem::path& home,
                                                                 bool linuxLayout = false,
                                                                 const std::filesystem::path& pnpmHome = {});
    static ToolLocator live(const std::filesystem::path& home, bool linuxLayout = false,
                            const std::filesystem::path& pnpmHome = {});

    // The bin folder of the Node version nvm's "default" alias names (aliases followed, "20" or "node"
    // meaning the newest installed match); nothing when nvm has none.
    static std::optional<std::filesystem::path> nvmDefaultBin(const std::filesystem::path& home);
    // What an nvm version text ("20", "v18.1", "node", "lts/*", an alias name) stands for, aliases
    // followed: the folder of the newest installed match; nothing when none is installed or the text
    // leads nowhere. "system" (Node outside nvm) is returned as it is.
    static std::optional<std::filesystem::path> nvmVersionFolder(const std::filesystem::path& home,
                                                                 std::string wanted);

    // The first folder/name for which `fileExists` holds.
    std::optional<std::filesystem::path> locate(std::string_view name) const;

    // The search path as one "PATH" text for the children of located tools, folders joined by ":".
    std::string pathVariable() const;
};

} // namespace velmora
