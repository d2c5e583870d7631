// The user's well-known folders as a Linux desktop names them in ~/.config/user-dirs.dirs
// (localised names such as ~/Dokumente), read once for the safety rules of the Linux layout.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace velmora {

struct XdgUserDirs {
    // Absolute paths as seen inside the root prefix; absent when the file does not name the folder.
    std::optional<std::filesystem::path> desktop;
    std::optional<std::filesystem::path> documents;
    std::optional<std::filesystem::path> pictures;
    std::optional<std::filesystem::path> download;

    bool operator==(const XdgUserDirs&) const = default;

    // Reads the lines XDG_DESKTOP_DIR="…", XDG_DOCUMENTS_DIR="…", XDG_PICTURES_DIR="…" and
    // XDG_DOWNLOAD_DIR="…"; "$HOME" at the start of a value stands for `home`. Lines that are malformed,
    // relative or unknown are skipped.
    static XdgUserDirs parse(std::string_view text, const std::filesystem::path& home);

    // Parses <rootPrefix>/<home>/.config/user-dirs.dirs; a missing, unreadable or oversized file names
    // nothing, which leaves the English default folders.
    static XdgUserDirs read(const std::filesystem::path& rootPrefix, const std::filesystem::path& home);
};

} // namespace velmora
