// One part of the disk that the system, not the user's own files, fills: what it is called, what the
// user can do about it, and where it lies.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmora {

enum class AreaKind {
    system,       // measured and explained as part of the system's share of the disk
    userHome,     // the user's own home folder, shown for comparison
    applications, // installed programs
    unmeasurable, // exists, but its size cannot be learned (local snapshots): shown as unknown
};

struct SystemArea {
    std::string id; // "systemdata.<name>"
    std::string title;
    std::string verdict; // what it is, and whether and how the user can shrink it
    // Real paths (below the root prefix), each existing when the table was made; none for an
    // unmeasurable area.
    std::vector<std::filesystem::path> locations;
    AreaKind kind = AreaKind::system;

    bool operator==(const SystemArea&) const = default;
};

} // namespace velmora
