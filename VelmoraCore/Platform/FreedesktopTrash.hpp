// The Trash of the Linux desktops (the freedesktop.org Trash layout): items in "Trash/files", and
// for each an "info/<name>.trashinfo" with its original path and deletion date, so that the desktop's
// own Trash can show and restore what we moved.
#pragma once

#include "Platform/Trash.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

namespace velmora {

class FreedesktopTrash final : public Trash {
public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    // `dataHome` is the user's data folder (see dataHomeFor); the Trash is "dataHome/Trash". `now`
    // dates each deletion (local time, as the desktops write it). The Trash is reached from `anchor`
    // (the home folder) without following a link, and missing folders are made with mode 0700 on the
    // way. The optional "directorysizes" cache is not written: the desktops measure a folder that is
    // not in it themselves.
    FreedesktopTrash(std::filesystem::path dataHome, Clock now, std::filesystem::path anchor = "/");

    // $XDG_DATA_HOME when it is set to an absolute path (the environment's value is passed in, null when
    // unset), otherwise "home/.local/share".
    static std::filesystem::path dataHomeFor(const std::filesystem::path& home, const char* xdgDataHome);

    // The content of a .trashinfo file for an item that lay at `original` (absolute) and was deleted at
    // `deletedAt`: the path percent-encoded byte by byte, the date as local "YYYY-MM-DDThh:mm:ss".
    static std::string trashInfoText(const std::filesystem::path& original,
                                     std::chrono::system_clock::time_point deletedAt);

    // See Trash. A name is reserved by creating its .trashinfo exclusively (O_CREAT|O_EXCL) before the
    // item is renamed into "files"; when the rename fails, the .trashinfo is removed again. The item keeps
    // its name when free, else trashCandidateName's attempts 2, 3, … ("a.txt" → "a 2.txt"); a name is
    // shortened so that "<name>.trashinfo" fits the 255-byte limit. Thread-safe, also against other
    // programs using the same Trash.
    std::expected<std::filesystem::path, TrashError> moveToTrash(const RemovalTarget& item) override;
    // "<Trash>/info/<name>.trashinfo" for "<Trash>/files/<name>".
    std::optional<std::filesystem::path> infoFileFor(const std::filesystem::path& entry) const override;

    const std::filesystem::path& folder() const { return folder_; }

private:
    std::filesystem::path dataHome_;
    std::filesystem::path folder_;
    Clock now_;
    std::filesystem::path anchor_;
};

} // namespace velmora
