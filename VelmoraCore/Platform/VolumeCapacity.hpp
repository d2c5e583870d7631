// The two ways a volume tells its capacity: the file system's own counts (statvfs) and the values a
// system service reports on top of them, which may be missing or wrong.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>

namespace velmora {

struct ReportedCapacity {
    std::optional<std::int64_t> free;
    std::optional<std::int64_t> total;
};

// Free counts the blocks available to unprivileged users (not those reserved for root), which is what
// the user can still fill. `capacityUnavailable` when the volume cannot be asked or reports no blocks.
std::expected<DiskSpace, DiskInfoError> statvfsCapacity(const std::filesystem::path& folder);

// The reported values where they are positive; a missing one, or zero (what the service answers when
// it has nothing behind it: no user logged in, a volume that is not APFS), is taken from
// `fileSystemCounts`, asked at most once and only then. Free never exceeds total.
std::expected<DiskSpace, DiskInfoError>
preferReportedCapacity(const ReportedCapacity& reported,
                       const std::function<std::expected<DiskSpace, DiskInfoError>()>& fileSystemCounts);

} // namespace velmora
