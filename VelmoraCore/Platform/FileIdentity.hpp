// What a removal plan remembers of an item's top at scan time, so that right before removal it can
// tell whether the path still names the same file system object (and leave it alone when not).
#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

struct FileIdentity {
    enum class Kind { file, folder, symlink, other };

    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    Kind kind = Kind::other;
    // Creation time in nanoseconds since the epoch where the file system reports it. Inode numbers are
    // reused quickly (ext4, APFS), so a folder deleted and made again under the same name can get the
    // old number back; its birth time still differs.
    std::optional<std::int64_t> birthTime;

    bool operator==(const FileIdentity&) const = default;

    // The identity of whatever `path` names, a symbolic link at its end taken as the link itself.
    // Nothing when the path cannot be examined (gone, no permission for a folder above it). Thread-safe.
    static std::optional<FileIdentity> of(const std::filesystem::path& path);
    // The identity of the entry `name` in the open folder `dirFd` (a link as itself), or the errno of
    // the failed examination. Thread-safe.
    static std::expected<FileIdentity, int> at(int dirFd, const char* name);

    // Why an item recorded as `this` must not be touched now: `vanishedText` when `path` no longer
    // exists, `changedText` when it names another object, the system's reason when it cannot be
    // examined; nothing when it is still the same object. Thread-safe.
    std::optional<std::string> changeReason(const std::filesystem::path& path) const;
};

inline constexpr std::string_view changedSinceScanText = "Hat sich seit dem Scan verändert – nicht angefasst";
inline constexpr std::string_view vanishedText = "Existiert nicht mehr";

} // namespace velmora
