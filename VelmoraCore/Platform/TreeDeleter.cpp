#include "Platform/TreeDeleter.hpp"

#include "Platform/FolderNames.hpp"
#include "Platform/ParentDirectory.hpp"
#include "Platform/SystemErrorText.hpp"
#include "Platform/UniqueFd.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velmora {

namespace {

// Open folders kept on the stack; deeper ones are closed and reopened on the way back up, so any depth
// works within the smallest descriptor limits (macOS starts processes with 256).
constexpr std::size_t openFolderLimit = 32;
// A message names at most this many bytes of an entry's path (its end, which the user recognises).
constexpr std::size_t shownPathBytes = 200;

struct FolderKey {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const FolderKey&) const = default;
};

FolderKey keyOf(const struct stat& st) {
    return {st.st_dev, st.st_ino};
}

std::int64_t allocatedBytes(const struct stat& st) {
    return std::int64_t{st.st_blocks} * 512;
}

// The mount a descriptor lies on: a bind mount keeps the device number of its source, so the device
// alone would not notice one. Nothing where the system cannot tell.
std::optional<std::uint64_t> mountOf(int fd) {
#if defined(__linux__) && defined(STATX_MNT_ID)
    struct statx sx {};
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &sx) == 0 && (sx.stx_mask & STATX_MNT_ID))
        return sx.stx_mnt_id;
#else
    (void)fd;
#endif
    return std::nullopt;
}

struct Frame {
    UniqueFd fd;                    // invalid while evicted (see openFolderLimit)
    FolderKey key;                  // what the folder was when it was examined
    std::string name;               // its name in the folder above
    std::int64_t ownBytes = 0;      // the folder's own allocated bytes
    std::vector<std::string> names; // its entries, worked off from the front
    std::size_t next = 0;
    bool incomplete = false; // something in it stayed, so it has to stay too
};

struct Failure {
    std::filesystem::path where;
    int code = 0;
    std::string reason;
};

class Walk {
public:
    Walk(int parentFd, const TreeDeleter::Observer& observer, StopToken stop)
        : parentFd_(parentFd), observer_(observer), stop_(std::move(stop)) {}

    // Removes the non-folder `name` in the item's folder.
    void removeSingle(const std::string& name, const struct stat& st) {
        removeNonFolder(parentFd_, name, st, {});
    }

    // Removes the folder `name` in the item's folder, all it holds first.
    void removeFolder(const std::string& name, const struct stat& st) {
        struct stat parent {};
        if (::fstat(parentFd_, &parent) != 0) {
            const int code = errno;
            failAt({}, code, systemErrorText(code));
            return;
        }
        UniqueFd fd(::openat(parentFd_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!fd) {
            failOpen(parentFd_, name, st, nullptr, errno);
            return;
        }
        if (!sameFolder(fd.get(), st)) {
            failAt({}, 0, std::string(swappedText));
            return;
        }
        const auto itemMount = mountOf(fd.get());
        if (st.st_dev != parent.st_dev || (itemMount && itemMount != mountOf(parentFd_))) {
            failAt({}, 0, std::string(itemIsMountPointText));
            return;
        }
        device_ = st.st_dev;
        mount_ = itemMount;
        if (!enter(std::move(fd), name, st, true))
            return;
        run();
    }

    bool cancelled() const { return cancelled_; }
    const std::optional<Failure>& firstFailure() const { return first_; }
    std::int64_t failedEntries() const { return failedEntries_; }
    const DeleteStats& stats() const { return stats_; }

private:
    void run() {
        while (!stack_.empty()) {
            if (stop_.stop_requested()) {
                cancelled_ = true;
                return;
            }
            Frame& top = stack_.back();
            if (top.next < top.names.size()) {
                const std::string name = std::move(top.names[top.next++]);
                removeEntry(name);
            } else if (!leaveFolder()) {
                return;
            }
        }
    }

    // One entry of the folder on top of the stack.
    void removeEntry(const std::string& name) {
        const int dirFd = stack_.back().fd.get();
        struct stat st {};
        if (::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
            const int code = errno;
            if (code != ENOENT)
                failHere(name, code, systemErrorText(code));
            return;
        }
        if (!S_ISDIR(st.st_mode)) {
            removeNonFolder(dirFd, name, st, &stack_.back());
            return;
        }
        if (st.st_dev != device_) {
            failHere(name, 0, std::string(mountPointText));
            return;
        }
        if (observer_)
            observer_(TreeDeleter::Event::descending, relative(name));
        UniqueFd fd(::openat(dirFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!fd) {
            failOpen(dirFd, name, st, &stack_.back(), errno);
            return;
        }
        if (!sameFolder(fd.get(), st)) {
            failHere(name, 0, std::string(swappedText));
            return;
        }
        if (mount_ && mountOf(fd.get()) != mount_) {
            failHere(name, 0, std::string(mountPointText));
            return;
        }
        enter(std::move(fd), name, st, false);
    }

    // Lists an opened folder (the item itself when `isItem`, else one in the folder on top) and pushes
    // it; false when it could not be listed.
    bool enter(UniqueFd fd, const std::string& name, const struct stat& st, bool isItem) {
        auto names = folderNames(fd.get());
        if (!names) {
            // It stays, and so does everything above it.
            if (isItem)
                failAt({}, names.error(), systemErrorText(names.error()));
            else
                failHere(name, names.error(), systemErrorText(names.error()));
            return false;
        }
        stack_.push_back(
            Frame{std::move(fd), keyOf(st), name, allocatedBytes(st), std::move(*names), 0, false});
        if (stack_.size() > openFolderLimit)
            stack_[stack_.size() - 1 - openFolderLimit].fd.reset();
        if (observer_)
            observer_(TreeDeleter::Event::listed, relativeOfTop());
        return true;
    }

    // The folder on top is worked off: it goes unless something in it stayed. False when the walk
    // cannot go on safely.
    bool leaveFolder() {
        Frame done = std::move(stack_.back());
        stack_.pop_back();
        if (!stack_.empty() && !stack_.back().fd) {
            // Reopened from the child, which is still open, and checked to be the folder we left:
            // had it been moved meanwhile, ".." would lead somewhere else entirely.
            UniqueFd parent(::openat(done.fd.get(), "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            struct stat st {};
            if (!parent || ::fstat(parent.get(), &st) != 0 || keyOf(st) != stack_.back().key) {
                failAt(relativeOfTop(), 0, std::string(movedText));
                return false;
            }
            stack_.back().fd = std::move(parent);
        }
        done.fd.reset();
        Frame* above = stack_.empty() ? nullptr : &stack_.back();
        const int aboveFd = above ? above->fd.get() : parentFd_;
        if (done.incomplete) {
            if (above)
                above->incomplete = true;
            return true;
        }
        if (::unlinkat(aboveFd, done.name.c_str(), AT_REMOVEDIR) == 0) {
            ++stats_.removedEntries;
            stats_.freedBytes += done.ownBytes;
        } else if (errno != ENOENT) {
            const int code = errno;
            failAt(above ? relative(done.name) : std::filesystem::path(), code, systemErrorText(code));
            if (above)
                above->incomplete = true;
        }
        return true;
    }

    void removeNonFolder(int dirFd, const std::string& name, const struct stat& st, Frame* frame) {
        // Flag 0 never follows a link and never removes a folder, whatever `name` has become by now.
        if (::unlinkat(dirFd, name.c_str(), 0) == 0) {
            ++stats_.removedEntries;
            if (st.st_nlink <= 1)
                stats_.freedBytes += allocatedBytes(st);
            return;
        }
        const int code = errno;
        if (code == ENOENT)
            return;
        // EISDIR (EPERM on macOS): a folder took the place of what was examined.
        const bool becameFolder = code == EISDIR || (code == EPERM && isFolder(dirFd, name));
        const std::string reason = becameFolder ? std::string(swappedText) : systemErrorText(code);
        if (frame)
            failHere(name, code, reason);
        else
            failAt({}, code, reason);
    }

    // An examined folder could not be opened. When it is no folder any more (swapped for a link or a
    // file after it was examined) the new entry is removed as what it is; it is never followed.
    void failOpen(int dirFd, const std::string& name, const struct stat& st, Frame* frame, int code) {
        struct stat now {};
        if ((code == ENOTDIR || code == ELOOP) &&
            ::fstatat(dirFd, name.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISDIR(now.st_mode)) {
            removeNonFolder(dirFd, name, now, frame);
            return;
        }
        if (code == ENOENT)
            return;
        // A folder that cannot be opened (no permission to read it) can still go when it is empty.
        if (code != ENOTDIR && code != ELOOP && ::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) == 0) {
            ++stats_.removedEntries;
            stats_.freedBytes += allocatedBytes(st);
            return;
        }
        const std::string reason =
            code == ENOTDIR || code == ELOOP ? std::string(swappedText) : systemErrorText(code);
        if (frame)
            failHere(name, code, reason);
        else
            failAt({}, code, reason);
    }

    static bool sameFolder(int fd, const struct stat& seen) {
        struct stat st {};
        return ::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode) && keyOf(st) == keyOf(seen);
    }

    static bool isFolder(int dirFd, const std::string& name) {
        struct stat st {};
        return ::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
    }

    // A failure of `name` in the folder on top; that folder then stays.
    void failHere(const std::string& name, int code, std::string reason) {
        stack_.back().incomplete = true;
        ++failedEntries_;
        if (!first_)
            first_ = Failure{relative(name), code, std::move(reason)};
    }

    void failAt(const std::filesystem::path& where, int code, std::string reason) {
        if (!stack_.empty())
            stack_.back().incomplete = true;
        ++failedEntries_;
        if (!first_)
            first_ = Failure{where, code, std::move(reason)};
    }

    // `name` in the folder on top, relative to the item (the item's own name is the first frame's).
    std::filesystem::path relative(const std::string& name) const {
        std::filesystem::path path = relativeOfTop();
        return path / name;
    }

    std::filesystem::path relativeOfTop() const {
        std::filesystem::path path;
        for (std::size_t i = 1; i < stack_.size(); ++i)
            path /= stack_[i].name;
        return path;
    }

    int parentFd_;
    const TreeDeleter::Observer& observer_;
    StopToken stop_;
    dev_t device_ = 0;
    std::optional<std::uint64_t> mount_;
    std::vector<Frame> stack_;
    DeleteStats stats_;
    std::optional<Failure> first_;
    std::int64_t failedEntries_ = 0;
    bool cancelled_ = false;
};

DeleteError errorBeforeTouching(DeleteError::Kind kind, int code, std::string message) {
    DeleteError error;
    error.kind = kind;
    error.code = code;
    error.message = std::move(message);
    return error;
}

std::string shownPath(const std::filesystem::path& where) {
    std::string text = where.native();
    if (text.size() > shownPathBytes) {
        std::size_t cut = text.size() - shownPathBytes;
        while (cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
            ++cut;
        text = "…" + text.substr(cut);
    }
    return Text::repairUTF8(text);
}

} // namespace

TreeDeleter::TreeDeleter(Observer observer) : observer_(std::move(observer)) {}

std::expected<DeleteStats, DeleteError> TreeDeleter::remove(const RemovalTarget& item, StopToken stop) const {
    using Kind = DeleteError::Kind;
    auto parent = ParentDirectory::open(item);
    if (!parent) {
        switch (parent.error().kind) {
        case ParentDirectoryError::Kind::invalidPath:
            return std::unexpected(
                errorBeforeTouching(Kind::invalidPath, 0, std::string(invalidDeletePathText)));
        case ParentDirectoryError::Kind::linkOnTheWay:
            return std::unexpected(
                errorBeforeTouching(Kind::unsafeLocation, 0, std::string(unsafeFolderText)));
        case ParentDirectoryError::Kind::changed:
            return std::unexpected(errorBeforeTouching(Kind::changed, 0, std::string(changedSinceScanText)));
        case ParentDirectoryError::Kind::system:
            break;
        }
        const int code = parent.error().code;
        if (code == ENOENT || code == ENOTDIR)
            return std::unexpected(errorBeforeTouching(Kind::notFound, code, systemErrorText(ENOENT)));
        return std::unexpected(errorBeforeTouching(Kind::system, code, systemErrorText(code)));
    }
    if (stop.stop_requested())
        return std::unexpected(errorBeforeTouching(Kind::cancelled, 0, std::string(cancelledText)));

    const struct stat& st = parent->status;
    Walk walk(parent->fd.get(), observer_, stop);
    if (S_ISDIR(st.st_mode))
        walk.removeFolder(parent->name, st);
    else
        walk.removeSingle(parent->name, st);

    if (!walk.cancelled() && !walk.firstFailure())
        return walk.stats();
    DeleteError error;
    error.removed = walk.stats();
    error.failedEntries = walk.failedEntries();
    if (walk.cancelled()) {
        error.kind = Kind::cancelled;
        error.message = cancelledText;
        return std::unexpected(std::move(error));
    }
    const Failure& failure = *walk.firstFailure();
    error.kind = Kind::failed;
    error.code = failure.code;
    error.where = failure.where;
    error.message = failure.reason;
    if (!failure.where.empty())
        error.message += ": " + shownPath(failure.where);
    return std::unexpected(std::move(error));
}

} // namespace velmora
