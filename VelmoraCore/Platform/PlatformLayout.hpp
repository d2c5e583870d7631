// Which platform's layout a run uses: where catalog locations are, which safety rules apply and
// where the app keeps its files. A Mac-shaped tree can be scanned on Linux with the macOS layout.
#pragma once

#include <optional>
#include <string_view>

namespace velmora {

enum class PlatformLayout { macOS, linux };

constexpr std::string_view rawValue(PlatformLayout layout) {
    return layout == PlatformLayout::macOS ? "macos" : "linux";
}

constexpr std::optional<PlatformLayout> platformLayoutFromRawValue(std::string_view raw) {
    if (raw == "macos")
        return PlatformLayout::macOS;
    if (raw == "linux")
        return PlatformLayout::linux;
    return std::nullopt;
}

// The layout of the machine the program runs on.
constexpr PlatformLayout hostLayout() {
#ifdef __APPLE__
    return PlatformLayout::macOS;
#else
    return PlatformLayout::linux;
#endif
}

} // namespace velmora
