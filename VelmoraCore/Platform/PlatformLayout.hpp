// Which system's folder layout and conventions a service follows: macOS as on a Mac, or the Linux
// platform layer. Services take it as a parameter so that tests can run the macOS rules on Linux.
#pragma once

#include <array>
#include <optional>
#include <string_view>

// GNU dialects of C++ predefine `linux` as 1, which would turn the enumerator below into a number.
#ifdef linux
#undef linux
#endif

namespace velmora {

enum class PlatformLayout { macOS, linux };

inline constexpr std::array<PlatformLayout, 2> allPlatformLayouts{PlatformLayout::macOS,
                                                                  PlatformLayout::linux};

constexpr std::string_view rawValue(PlatformLayout layout) {
    switch (layout) {
    case PlatformLayout::macOS:
        return "macos";
    case PlatformLayout::linux:
        return "linux";
    }
    return {};
}

constexpr std::optional<PlatformLayout> platformLayoutFromRawValue(std::string_view raw) {
    for (PlatformLayout layout : allPlatformLayouts)
        if (rawValue(layout) == raw)
            return layout;
    return std::nullopt;
}

// The layout of the machine this program was built for.
constexpr PlatformLayout hostLayout() {
#ifdef __APPLE__
    return PlatformLayout::macOS;
#else
    return PlatformLayout::linux;
#endif
}

} // namespace velmora
