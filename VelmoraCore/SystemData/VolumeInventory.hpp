// The APFS volumes of the start disk's container, as `diskutil apfs list -plist` reports them.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "SystemData/VolumeSource.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>

namespace velmora {

// Keeps nothing between calls. Under a root prefix the caller passes the diskutil inside that root.
class VolumeInventory final : public VolumeSource {
public:
    static constexpr std::chrono::seconds timeLimit{30};

    explicit VolumeInventory(std::shared_ptr<CommandRunner> runner,
                             std::filesystem::path diskutil = "/usr/sbin/diskutil");

    // Runs "diskutil apfs list -plist"; a failed run, a time-out, a stop request or a non-zero exit
    // status is `commandFailed`; the output goes to `parse` with the role "Data".
    std::expected<VolumeInventoryResult, VolumeInventoryError> load(StopToken stop = {}) const override;

    // The start container is the first one holding a volume with `role` among its "Roles". Pure; any
    // bytes are safe to hand it. Byte counts are 64-bit integers; a negative one, one beyond 2^63 - 1,
    // one of another type, or volumes whose sizes add up beyond 2^63 - 1 make the list
    // `invalidPlist`: a size that cannot be true is refused rather than wrapped or guessed.
    static std::expected<VolumeInventoryResult, VolumeInventoryError> parse(std::string_view data,
                                                                            std::string_view role);

private:
    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path diskutil_;
};

} // namespace velmora
