// Disk images and installer packages left in the downloads folder once the installation is done.
// Only what lies directly in the folder counts, each file (or package bundle) as one item.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Scanning/Scanner.hpp"

#include <string_view>

namespace velmora {

class OldInstallersScanner : public Scanner {
public:
    static constexpr int minimumAgeDays = 14;

    std::string id() const override { return "personal.oldInstallers"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // Whether a downloaded file of this name installs something on this layout (the case of the
    // extension does not matter); `isFolder` for a package bundle, which only .pkg and .mpkg may be.
    static bool isInstaller(std::string_view name, bool isFolder, PlatformLayout layout);
};

} // namespace velmora
