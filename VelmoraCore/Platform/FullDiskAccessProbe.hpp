// Whether the application may read the user's protected folders (Full Disk Access on macOS). The live
// implementation is FullDiskAccess.
#pragma once

#include <filesystem>

namespace velmora {

// Thread-safe; every call asks the system afresh. Never fails: anything that goes wrong means "no".
class FullDiskAccessProbe {
public:
    virtual ~FullDiskAccessProbe() = default;

    virtual bool hasFullDiskAccess(const std::filesystem::path& home) const = 0;
};

} // namespace velmora
