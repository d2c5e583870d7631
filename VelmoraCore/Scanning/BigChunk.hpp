// One of the biggest folders below the home that no other finding explains ("Große Brocken"): its
// size is what remains after subtracting everything other scanners already reported inside it.
#pragma once

#include <cstdint>
#include <filesystem>

namespace velmora {

struct BigChunk {
    std::filesystem::path location;
    std::int64_t bytes = 0;

    bool operator==(const BigChunk&) const = default;
};

} // namespace velmora
