// How much space the volume holding the user's home folder has and how much of it is free. The live
// implementation is DiskInfo.
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>

namespace velmora {

struct DiskSpace {
    std::int64_t free = 0;  // bytes available to the user
    std::int64_t total = 0; // the volume's capacity in bytes

    bool operator==(const DiskSpace&) const = default;
};

enum class DiskInfoError {
    capacityUnavailable, // the volume did not report its capacities
};

// Thread-safe; every call asks the system afresh.
class DiskSpaceProbe {
public:
    virtual ~DiskSpaceProbe() = default;

    // Free and total bytes of the volume `home` lives on; `capacityUnavailable` when the volume cannot
    // be asked or does not report a capacity.
    virtual std::expected<DiskSpace, DiskInfoError> diskSpace(const std::filesystem::path& home) const = 0;
};

} // namespace velmora
