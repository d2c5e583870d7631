// Why the volumes could not be read, and the notice the system data view shows for it.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

enum class VolumeInventoryError {
    commandFailed,    // the system could not be asked (the tool did not run or failed, a file was unreadable)
    invalidPlist,     // its answer did not have the expected shape
    noStartContainer, // nothing in the answer holds the start volume
};

constexpr std::string_view rawValue(VolumeInventoryError error) {
    switch (error) {
    case VolumeInventoryError::commandFailed:
        return "commandFailed";
    case VolumeInventoryError::invalidPlist:
        return "invalidPlist";
    case VolumeInventoryError::noStartContainer:
        return "noStartContainer";
    }
    return {};
}

// Short, lower-case German, as it reads inside the notice's parentheses. Worded for both layouts:
// the same errors come from diskutil on a Mac and from the mount table on Linux.
constexpr std::string_view text(VolumeInventoryError error) {
    switch (error) {
    case VolumeInventoryError::commandFailed:
        return "die Liste der Volumes konnte nicht abgefragt werden";
    case VolumeInventoryError::invalidPlist:
        return "die Liste der Volumes hat ein unerwartetes Format";
    case VolumeInventoryError::noStartContainer:
        return "das Startvolume wurde nicht gefunden";
    }
    return {};
}

// The identifier the notice is shown under.
inline constexpr std::string_view volumeNoticeID = "systemdata.volumes";

// "Die Volumes konnten nicht gelesen werden (…). Der nicht zugeordnete Anteil bleibt unbekannt."
std::string volumeNoticeText(VolumeInventoryError error);

} // namespace velmora
