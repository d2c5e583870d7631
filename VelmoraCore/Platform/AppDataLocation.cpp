#include "Platform/AppDataLocation.hpp"

#include <cstdlib>

namespace velmora {

std::filesystem::path appDataFolder(PlatformLayout layout, const std::filesystem::path& home,
                                    const std::optional<std::string>& xdgDataHome) {
    if (layout == PlatformLayout::macOS)
        return home / "Library" / "Application Support" / "Velmora2";
    if (xdgDataHome && !xdgDataHome->empty() && xdgDataHome->front() == '/')
        return std::filesystem::path(*xdgDataHome) / "Velmora2";
    return home / ".local" / "share" / "Velmora2";
}

std::filesystem::path configFolder(const std::filesystem::path& home,
                                   const std::optional<std::string>& xdgConfigHome) {
    if (xdgConfigHome && !xdgConfigHome->empty() && xdgConfigHome->front() == '/')
        return std::filesystem::path(*xdgConfigHome);
    return home / ".config";
}

std::filesystem::path liveAppDataFolder(PlatformLayout layout, const std::filesystem::path& home) {
    const char* value = std::getenv("XDG_DATA_HOME");
    return appDataFolder(layout, home, value ? std::optional<std::string>(value) : std::nullopt);
}

} // namespace velmora
