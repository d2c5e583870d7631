// The photos library as the storage tab explains it: where it lies and how big it is. The library is
// only ever measured, never touched.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace velmora {

struct PhotosInfo {
    std::filesystem::path library;
    std::optional<std::int64_t> bytes; // absent when it could not be measured

    bool operator==(const PhotosInfo&) const = default;
};

} // namespace velmora
