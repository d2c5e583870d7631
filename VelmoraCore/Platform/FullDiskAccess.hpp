// The live Full Disk Access probe: on macOS, tries to list a folder only Full Disk Access may read;
// Linux has no such permission.
#pragma once

#include "Platform/FullDiskAccessProbe.hpp"
#include "Platform/PlatformLayout.hpp"

#include <string_view>

namespace velmora {

class FullDiskAccess final : public FullDiskAccessProbe {
public:
    // The system settings pane where the user grants Full Disk Access.
    static constexpr std::string_view settingsURL =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles";

    explicit FullDiskAccess(PlatformLayout layout = hostLayout()) : layout_(layout) {}

    // macOS layout: true when home/Library/Safari can be listed to the end. Linux layout: always true.
    bool hasFullDiskAccess(const std::filesystem::path& home) const override;

private:
    PlatformLayout layout_;
};

} // namespace velmora
