// The table of system areas for one machine, in the layout of macOS or Linux.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Platform/SizeMeasurer.hpp"
#include "Support/StopToken.hpp"
#include "SystemData/SystemArea.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// One folder of downloaded system assets, with a readable name.
struct AssetFolder {
    std::string name;
    std::filesystem::path folder;
    std::int64_t size = 0;
    bool complete = true; // false: the size is a lower bound

    bool operator==(const AssetFolder&) const = default;
};

class SystemAreas {
public:
    struct Setup {
        PlatformLayout layout = hostLayout();
        std::filesystem::path rootPrefix = "/";       // stands for "/"; a temp tree in tests
        std::filesystem::path home;                   // real path, below rootPrefix
        std::vector<std::filesystem::path> swapFiles; // real paths (Linux: from /proc/swaps)
    };

    // The areas of the layout in a fixed order, each with the locations that exist (symbolic links
    // are never taken, and a location seen twice through another path counts once). An area none of
    // whose locations exists is left out; the home folder and the unmeasurable local snapshots of
    // macOS are always there.
    static std::vector<SystemArea> forMachine(const Setup& setup);

    // A German name for an asset folder below AssetsV2 ("com_apple_MobileAsset_Font7" → "Schriften");
    // the folder's own name when it is not one we know.
    static std::string assetName(std::string_view folderName);

    // The folders directly below `assetsV2`, measured and named, largest first. A stop ends the
    // measuring; the folders measured so far are returned.
    static std::vector<AssetFolder> assetsBreakdown(const std::filesystem::path& assetsV2,
                                                    const SizeMeasurer& sizer, StopToken stop = {});
};

} // namespace velmora
