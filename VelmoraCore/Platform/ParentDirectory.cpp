#include "Platform/ParentDirectory.hpp"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <vector>
#ifdef __linux__
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace velmora {

namespace {

using Error = ParentDirectoryError;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::atomic<bool> kernelWalkAllowed = true;

std::unexpected<Error> failure(Error::Kind kind, int code = 0) {
    return std::unexpected(Error{kind, code});
}

// The components of an absolute path; nothing when it is not absolute or has a "." or "..": such a
// path never comes from a scan, and the place acted on could differ from the path the guard vetted.
std::optional<std::vector<std::string>> componentsOf(const std::string& text) {
    if (text.empty() || text.front() != '/')
        return std::nullopt;
    std::vector<std::string> parts;
    std::size_t start = 1;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        if (end > start) {
            std::string part = text.substr(start, end - start);
            if (part == "." || part == "..")
                return std::nullopt;
            parts.push_back(std::move(part));
        }
        start = end + 1;
    }
    return parts;
}

// The folder `name` in `dirFd`, never through a link; with `makeMissing` made first when missing.
std::expected<UniqueFd, Error> stepDown(int dirFd, const std::string& name,
                                        std::optional<mode_t> makeMissing) {
    UniqueFd fd(::openat(dirFd, name.c_str(), folderFlags));
    if (!fd && errno == ENOENT && makeMissing) {
        if (::mkdirat(dirFd, name.c_str(), *makeMissing) != 0 && errno != EEXIST)
            return failure(Error::Kind::system, errno);
        // Opened again with O_NOFOLLOW: a link planted between mkdirat and here is refused below.
        fd.reset(::openat(dirFd, name.c_str(), folderFlags));
    }
    if (fd)
        return fd;
    const int code = errno;
    struct stat st {};
    if ((code == ELOOP || code == ENOTDIR) && ::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(st.st_mode))
        return failure(Error::Kind::linkOnTheWay);
    return failure(Error::Kind::system, code);
}

#if defined(__linux__) && defined(SYS_openat2)
std::atomic<bool> kernelWalkMissing = false;

// The whole way below `anchorFd` in one call; nothing when the kernel cannot answer (the component
// walk decides then).
std::optional<std::expected<UniqueFd, Error>> kernelWalk(int anchorFd, const std::string& relative) {
    if (!kernelWalkAllowed || kernelWalkMissing)
        return std::nullopt;
    open_how how{};
    how.flags = folderFlags;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    const long fd = ::syscall(SYS_openat2, anchorFd, relative.c_str(), &how, sizeof how);
    if (fd >= 0)
        return UniqueFd(static_cast<int>(fd));
    const int code = errno;
    if (code == ELOOP)
        return failure(Error::Kind::linkOnTheWay);
    if (code == ENOENT || code == EACCES)
        return failure(Error::Kind::system, code);
    // ENOTDIR: a file or a link on the way, which the component walk tells apart. ENOSYS: an older
    // kernel. EPERM: a sandbox that refuses calls it does not know. EAGAIN: a rename raced the lookup.
    if (code == ENOSYS || code == EPERM)
        kernelWalkMissing = true;
    return std::nullopt;
}
#endif

} // namespace

void ParentDirectory::allowKernelWalk(bool allowed) {
    kernelWalkAllowed = allowed;
}

std::expected<UniqueFd, ParentDirectoryError> ParentDirectory::openFolder(const std::filesystem::path& anchor,
                                                                          const std::filesystem::path& folder,
                                                                          std::optional<mode_t> makeMissing) {
    const auto parts = componentsOf(folder.native());
    if (!parts)
        return failure(Error::Kind::invalidPath);
    const auto anchorParts = componentsOf(anchor.native());
    const bool anchored = anchorParts && anchorParts->size() <= parts->size() &&
                          std::equal(anchorParts->begin(), anchorParts->end(), parts->begin());
    // The anchor is configuration (the home folder may well be reached through a link); below it
    // nothing is.
    UniqueFd current(::open(anchored ? anchor.c_str() : "/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!current)
        return failure(Error::Kind::system, errno);
    const std::size_t first = anchored ? anchorParts->size() : 0;
#if defined(__linux__) && defined(SYS_openat2)
    if (!makeMissing && first < parts->size()) {
        std::string relative;
        for (std::size_t i = first; i < parts->size(); ++i)
            relative += (relative.empty() ? "" : "/") + (*parts)[i];
        if (auto walked = kernelWalk(current.get(), relative))
            return std::move(*walked);
    }
#endif
    for (std::size_t i = first; i < parts->size(); ++i) {
        auto next = stepDown(current.get(), (*parts)[i], makeMissing);
        if (!next)
            return std::unexpected(next.error());
        current = std::move(*next);
    }
    return current;
}

std::expected<ParentDirectory, ParentDirectoryError> ParentDirectory::open(const RemovalTarget& target) {
    auto parts = componentsOf(target.path.native());
    if (!parts || parts->empty())
        return failure(Error::Kind::invalidPath);
    std::string name = std::move(parts->back());
    parts->pop_back();
    std::string folder;
    for (const auto& part : *parts)
        folder += "/" + part;
    auto fd = openFolder(target.anchor, folder.empty() ? "/" : folder);
    if (!fd)
        return std::unexpected(fd.error());

    ParentDirectory parent{std::move(*fd), std::move(name), {}};
    if (::fstatat(parent.fd.get(), parent.name.c_str(), &parent.status, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(Error::Kind::system, errno);
    if (target.identity) {
        const auto now = FileIdentity::at(parent.fd.get(), parent.name.c_str());
        if (!now)
            return failure(Error::Kind::system, now.error());
        // Examined twice (the birth time needs statx on Linux): both must be the recorded object.
        if (*now != *target.identity || now->device != static_cast<std::uint64_t>(parent.status.st_dev) ||
            now->inode != static_cast<std::uint64_t>(parent.status.st_ino))
            return failure(Error::Kind::changed);
    }
    return parent;
}

} // namespace velmora
