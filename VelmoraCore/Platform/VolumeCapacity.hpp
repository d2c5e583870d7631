// The two ways a volume tells its capacity: the file system's own counts (statvfs, Linux) and the
// values a system service reports (macOS), which may be missing.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>

namespace velmora {

struct ReportedCapacity {
    std::optional<std::int64_t> free;
    std::optional<std::int64_t> total;
};

// Free counts the blocks available to unprivileged users (not those reserved for root), which is what
// the user can still fill. `capacityUnavailable` when the volume cannot be asked or reports no blocks.
std::expected<DiskSpace, DiskInfoError> statvfsCapacity(const std::filesystem::path& folder);

// The reported values, free capped at total; `capacityUnavailable` when either is missing or the
// total is not positive. No guess from statvfs: it ignores purgeable space and would show a fuller
// disk than the Finder does.
std::expected<DiskSpace, DiskInfoError> reportedCapacity(const ReportedCapacity& reported);

} // namespace velmora
