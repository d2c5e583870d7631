#include "Platform/FileIdentity.hpp"

#include "Platform/SystemErrorText.hpp"

#include <cerrno>
#include <expected>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace velmora {

namespace {

FileIdentity::Kind kindOf(unsigned mode) {
    if (S_ISREG(mode))
        return FileIdentity::Kind::file;
    if (S_ISDIR(mode))
        return FileIdentity::Kind::folder;
    if (S_ISLNK(mode))
        return FileIdentity::Kind::symlink;
    return FileIdentity::Kind::other;
}

} // namespace

std::expected<FileIdentity, int> FileIdentity::at(int dirFd, const char* name) {
    if (name == nullptr || *name == '\0')
        return std::unexpected(ENOENT);
#if defined(__linux__) && defined(STATX_BTIME)
    struct statx sx {};
    if (::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_BTIME, &sx) !=
        0)
        return std::unexpected(errno);
    FileIdentity identity{::makedev(sx.stx_dev_major, sx.stx_dev_minor), sx.stx_ino, kindOf(sx.stx_mode),
                          std::nullopt};
    if (sx.stx_mask & STATX_BTIME)
        identity.birthTime = std::int64_t{sx.stx_btime.tv_sec} * 1'000'000'000 + sx.stx_btime.tv_nsec;
    return identity;
#else
    struct stat st {};
    if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return std::unexpected(errno);
    FileIdentity identity{static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino),
                          kindOf(st.st_mode), std::nullopt};
#ifdef __APPLE__
    identity.birthTime =
        std::int64_t{st.st_birthtimespec.tv_sec} * 1'000'000'000 + st.st_birthtimespec.tv_nsec;
#endif
    return identity;
#endif
}

std::optional<FileIdentity> FileIdentity::of(const std::filesystem::path& path) {
    auto identity = at(AT_FDCWD, path.c_str());
    if (!identity)
        return std::nullopt;
    return *identity;
}

std::optional<std::string> FileIdentity::changeReason(const std::filesystem::path& path) const {
    const auto now = at(AT_FDCWD, path.c_str());
    if (!now) {
        if (now.error() == ENOENT || now.error() == ENOTDIR)
            return std::string(vanishedText);
        return systemErrorText(now.error());
    }
    if (*now != *this)
        return std::string(changedSinceScanText);
    return std::nullopt;
}

} // namespace velmora
