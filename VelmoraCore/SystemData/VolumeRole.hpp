// The part a volume plays on the start disk: an APFS volume's role on a Mac, a file system's or swap
// area's on Linux.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class VolumeRole { system, preboot, recovery, vm, data, simulator, other };

inline constexpr std::array<VolumeRole, 7> allVolumeRoles{
    VolumeRole::system, VolumeRole::preboot,   VolumeRole::recovery, VolumeRole::vm,
    VolumeRole::data,   VolumeRole::simulator, VolumeRole::other};

constexpr std::string_view rawValue(VolumeRole role) {
    switch (role) {
    case VolumeRole::system:
        return "system";
    case VolumeRole::preboot:
        return "preboot";
    case VolumeRole::recovery:
        return "recovery";
    case VolumeRole::vm:
        return "vm";
    case VolumeRole::data:
        return "data";
    case VolumeRole::simulator:
        return "simulator";
    case VolumeRole::other:
        return "other";
    }
    return {};
}

constexpr std::string_view title(VolumeRole role) {
    switch (role) {
    case VolumeRole::system:
        return "System";
    case VolumeRole::preboot:
        return "Startvorbereitung";
    case VolumeRole::recovery:
        return "Wiederherstellung";
    case VolumeRole::vm:
        return "Auslagerung";
    case VolumeRole::data:
        return "Daten";
    case VolumeRole::simulator:
        return "Simulator";
    case VolumeRole::other:
        return "Sonstiges";
    }
    return {};
}

constexpr std::optional<VolumeRole> volumeRoleFromRawValue(std::string_view raw) {
    for (VolumeRole role : allVolumeRoles)
        if (rawValue(role) == raw)
            return role;
    return std::nullopt;
}

} // namespace velmora
