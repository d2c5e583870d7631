#include "SystemData/VolumeInventoryResult.hpp"

namespace velmora {

std::optional<std::int64_t> totalConsumed(const std::vector<APFSVolume>& volumes) {
    std::int64_t total = 0;
    for (const auto& volume : volumes)
        if (__builtin_add_overflow(total, volume.consumed, &total))
            return std::nullopt;
    return total;
}

} // namespace velmora
