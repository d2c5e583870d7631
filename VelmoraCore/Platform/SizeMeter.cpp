// Walks a folder tree through directory descriptors on several threads and adds up allocated blocks.
#include "Platform/SizeMeter.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

// Linux reads folders with raw getdents64 and examines files with statx; other systems (and Linux
// builds that define VELMORA_PORTABLE_WALK, to test that path) use readdir and fstatat.
#if defined(__linux__) && !defined(VELMORA_PORTABLE_WALK)
#define VELMORA_LINUX_WALK 1
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#else
#define VELMORA_LINUX_WALK 0
#endif

namespace velmora {
namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// An open folder descriptor, shared by the thread that read the folder and by the jobs for its
// subfolders that were handed to other threads; closed when the last of them lets go.
class DirHandle {
public:
    explicit DirHandle(int fd) : fd_(fd) {}
    ~DirHandle() { ::close(fd_); }
    DirHandle(const DirHandle&) = delete;
    DirHandle& operator=(const DirHandle&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

// The entry is gone, or is no longer the kind of thing it was listed as: not worth reporting.
bool vanished(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

struct EntryInfo {
    enum class Kind { regular, directory, other };
    Kind kind = Kind::other;
    std::int64_t bytes = 0;
    bool hardLinked = false;
    std::uint64_t device = 0; // of every kind, so that the location tells which file system it is on
    std::uint64_t inode = 0;
};

// Examines `name` inside the folder `dirFd` (or a path, with AT_FDCWD) without following a link.
// Returns 0 or the errno value.
int examine(int dirFd, const char* name, EntryInfo& info) {
#if VELMORA_LINUX_WALK
    struct statx sx;
    // Only what the count needs: asking for less lets file systems answer from what they have cached.
    if (::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT,
                STATX_TYPE | STATX_BLOCKS | STATX_NLINK | STATX_INO, &sx) != 0)
        return errno;
    info = {};
    if (!(sx.stx_mask & STATX_TYPE))
        return 0;
    info.device = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    if (S_ISDIR(sx.stx_mode)) {
        info.kind = EntryInfo::Kind::directory;
    } else if (S_ISREG(sx.stx_mode)) {
        info.kind = EntryInfo::Kind::regular;
        if (sx.stx_mask & STATX_BLOCKS)
            info.bytes = static_cast<std::int64_t>(sx.stx_blocks) * 512;
        // A file whose identity the file system does not report counts normally.
        info.hardLinked = (sx.stx_mask & STATX_NLINK) && (sx.stx_mask & STATX_INO) && sx.stx_nlink >= 2;
        info.inode = sx.stx_ino;
    }
    return 0;
#else
    struct stat st;
    if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    info = {};
    info.device = static_cast<std::uint64_t>(st.st_dev);
    if (S_ISDIR(st.st_mode)) {
        info.kind = EntryInfo::Kind::directory;
    } else if (S_ISREG(st.st_mode)) {
        info.kind = EntryInfo::Kind::regular;
        info.bytes = static_cast<std::int64_t>(st.st_blocks) * 512;
        info.hardLinked = st.st_nlink >= 2;
        info.inode = static_cast<std::uint64_t>(st.st_ino);
    }
    return 0;
#endif
}

// Lists one folder; one per thread, so that its buffer is reused for every folder.
class DirectoryReader {
public:
    // Calls `onEntry(name, d_type)` for every entry but "." and "..". Returns false when listing
    // failed part way; the entries seen before still count. `onEntry` returns false to stop early.
    template <class OnEntry> bool read(int fd, OnEntry&& onEntry) {
#if VELMORA_LINUX_WALK
        for (;;) {
            long n = ::syscall(SYS_getdents64, fd, buffer_.data(), buffer_.size());
            if (n == 0)
                return true;
            if (n < 0)
                return false;
            // linux_dirent64: u64 d_ino, s64 d_off, u16 d_reclen, u8 d_type, char d_name[].
            for (long offset = 0; offset < n;) {
                const char* record = buffer_.data() + offset;
                unsigned short length;
                std::memcpy(&length, record + 16, sizeof length);
                const auto type = static_cast<unsigned char>(record[18]);
                const char* name = record + 19;
                offset += length;
                if (isDotOrDotDot(name))
                    continue;
                if (!onEntry(name, type))
                    return true;
            }
        }
#else
        // fdopendir takes over the descriptor it is given; the walk still needs `fd` afterwards.
        int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
        if (copy < 0)
            return false;
        DIR* dir = ::fdopendir(copy);
        if (dir == nullptr) {
            ::close(copy);
            return false;
        }
        bool complete = true;
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(dir);
            if (entry == nullptr) {
                complete = errno == 0;
                break;
            }
            if (isDotOrDotDot(entry->d_name))
                continue;
            if (!onEntry(entry->d_name, static_cast<unsigned char>(entry->d_type)))
                break;
        }
        ::closedir(dir);
        return complete;
#endif
    }

private:
    static bool isDotOrDotDot(const char* name) {
        return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
    }

#if VELMORA_LINUX_WALK
    // Large enough that most folders are listed in one call (plus the call that reports the end).
    std::vector<char> buffer_ = std::vector<char>(64 * 1024);
#endif
};

// A folder whose total a walk with folder totals is still adding up. It is complete once its own
// listing and every subfolder found in it are done, on whichever threads they ran.
struct FolderNode {
    FolderNode(std::shared_ptr<FolderNode> parent, std::string name)
        : parent(std::move(parent)), name(std::move(name)) {}

    const std::shared_ptr<FolderNode> parent;
    const std::string name;
    std::atomic<std::int64_t> bytes{0};
    std::atomic<std::int64_t> outstanding{1}; // its own listing, then one per subfolder still to do
    std::int64_t total = 0;                   // set when complete
};

struct Job {
    std::shared_ptr<DirHandle> parent;                 // null for the measured location itself
    std::string name;                                  // inside `parent`, or the location's path
    std::shared_ptr<FolderNode> parentNode;            // with folder totals only
    const SizeMeter::Exclusions* parentSkip = nullptr; // what is left out inside `parent`, if anything
};

struct Tally {
    std::int64_t bytes = 0;
    std::int64_t files = 0;
    std::int64_t directories = 0;
    std::int64_t unreadable = 0;

    Tally& operator+=(const Tally& other) {
        bytes += other.bytes;
        files += other.files;
        directories += other.directories;
        unreadable += other.unreadable;
        return *this;
    }
};

struct FileKey {
    std::uint64_t device;
    std::uint64_t inode;
    bool operator==(const FileKey&) const = default;
};

struct FileKeyHash {
    std::size_t operator()(const FileKey& key) const {
        return std::hash<std::uint64_t>{}(key.inode * 0x9E3779B97F4A7C15ULL ^ key.device);
    }
};

// The state one measurement's threads share: the pool of folders waiting for a thread, the hard
// links seen so far, and the totals of the threads that finished.
class Walk {
public:
    Walk(const SizeMeter::Options& options, StopToken stop, std::uint64_t device,
         std::optional<std::int64_t> keepFoldersOf = std::nullopt)
        : options_(options), stop_(std::move(stop)), device_(device), keepFoldersOf_(keepFoldersOf) {}

    SizeMeter::Result run(std::string location, const SizeMeter::Exclusions* skip = nullptr);

    bool tracksFolders() const { return keepFoldersOf_.has_value(); }
    // Marks one part of `node` done (its listing, or one subfolder); a folder whose parts are all done
    // hands its total to its parent, which may complete in turn. Null does nothing.
    void release(std::shared_ptr<FolderNode> node);
    // The complete folders that were kept, in no particular order.
    std::vector<std::shared_ptr<FolderNode>> keptFolders() {
        std::lock_guard lock(keptMutex_);
        return kept_;
    }

    // Blocks until a folder is waiting or the walk is over (everyone idle, or stopped).
    std::optional<Job> take();
    // Cheap enough to ask before every folder: a thread is waiting for work.
    bool wantsWork() const { return waiting_.load(std::memory_order_relaxed) > 0; }
    // Hands the first `count` names of `names` to waiting threads; false when nobody needs them.
    bool give(const std::shared_ptr<DirHandle>& parent, const std::shared_ptr<FolderNode>& parentNode,
              const SizeMeter::Exclusions* parentSkip, std::vector<std::string>& names, std::size_t count);
    // True the first time a hard-linked file is seen in this measurement.
    bool firstSighting(FileKey key) {
        std::lock_guard lock(linksMutex_);
        return seenLinks_.insert(key).second;
    }
    bool stopRequested() {
        if (!stop_.stop_requested())
            return false;
        stopped_.store(true, std::memory_order_relaxed);
        return true;
    }
    // Called by the walkers after each folder; starts the other threads once the tree proves large.
    void noteDirectories(std::int64_t directoriesRead) {
        if (!parallel_.load(std::memory_order_relaxed) &&
            directoriesRead >= static_cast<std::int64_t>(options_.parallelAfterDirectories))
            startHelpers();
    }
    const SizeMeter::Options& options() const { return options_; }
    // A folder the walk must not enter because it belongs to another file system.
    bool foreign(int fd) const {
        if (!options_.oneFileSystem)
            return false;
        struct stat st;
        return ::fstat(fd, &st) == 0 && static_cast<std::uint64_t>(st.st_dev) != device_;
    }

private:
    void startHelpers();
    void helperMain();

    const SizeMeter::Options options_;
    StopToken stop_;
    const std::uint64_t device_; // the location's
    std::atomic<bool> stopped_{false};
    std::atomic<bool> parallel_{false};
    std::vector<std::thread> helpers_;

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::vector<Job> jobs_;
    unsigned active_ = 1; // threads taking part, the caller included
    unsigned idle_ = 0;
    bool finished_ = false;
    std::atomic<unsigned> waiting_{0};
    Tally finishedTally_;

    std::mutex linksMutex_;
    std::unordered_set<FileKey, FileKeyHash> seenLinks_;

    const std::optional<std::int64_t> keepFoldersOf_;
    std::mutex keptMutex_;
    std::vector<std::shared_ptr<FolderNode>> kept_;
};

void Walk::release(std::shared_ptr<FolderNode> node) {
    while (node) {
        if (node->outstanding.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        node->total = node->bytes.load(std::memory_order_acquire);
        if (!node->parent || node->total >= *keepFoldersOf_) {
            std::lock_guard lock(keptMutex_);
            kept_.push_back(node);
        }
        if (node->parent)
            node->parent->bytes.fetch_add(node->total, std::memory_order_acq_rel);
        node = node->parent; // this folder was one of its parent's parts
    }
}

// One thread's depth-first walk of the subtrees it takes from the pool. Keeps the folders on its
// current path as frames: each with its descriptor (while within the window of open ones) and the
// names of the subfolders still to visit.
class Walker {
public:
    explicit Walker(Walk& walk)
        : walk_(walk), window_(std::max(1U, walk.options().openDirectoriesPerThread)) {}

    void walk(Job job);
    const Tally& tally() const { return tally_; }

private:
    struct Frame {
        std::shared_ptr<DirHandle> dir;              // null once it left the window of open descriptors
        std::shared_ptr<FolderNode> node;            // with folder totals only
        const SizeMeter::Exclusions* skip = nullptr; // what is left out inside this folder
        std::vector<std::string> pending;
        bool identityKnown = false; // recorded when the descriptor was closed
        dev_t device = 0;
        ino_t inode = 0;
    };

    void enter(int fd, std::shared_ptr<FolderNode> node, const SizeMeter::Exclusions* skip);
    std::shared_ptr<FolderNode> nodeFor(const std::shared_ptr<FolderNode>& parent, const std::string& name) {
        return walk_.tracksFolders() ? std::make_shared<FolderNode>(parent, name) : nullptr;
    }
    void list(Frame& frame);
    void climb();
    void share();
    void abandon();
    void count(const EntryInfo& info);

    Walk& walk_;
    const std::size_t window_;
    DirectoryReader reader_;
    std::vector<Frame> frames_; // reused between folders so that their vectors keep their capacity
    std::size_t levels_ = 0;
    Tally tally_;
};

void Walker::walk(Job job) {
    const int fd = job.parent ? ::openat(job.parent->fd(), job.name.c_str(), directoryFlags)
                              : ::open(job.name.c_str(), directoryFlags);
    const int error = errno;
    const bool location = !job.parent;
    job.parent.reset();
    if (fd < 0) {
        if (!vanished(error))
            ++tally_.unreadable;
        walk_.release(std::move(job.parentNode));
        return;
    }
    if (walk_.foreign(fd)) {
        ::close(fd);
        walk_.release(std::move(job.parentNode));
        return;
    }
    // The measured location's job carries its own exclusions, every other job those of its parent.
    const SizeMeter::Exclusions* skip =
        location ? job.parentSkip : (job.parentSkip ? job.parentSkip->find(job.name) : nullptr);
    enter(fd, nodeFor(job.parentNode, job.name), skip);
    while (levels_ > 0) {
        if (walk_.stopRequested()) {
            abandon();
            return;
        }
        if (frames_[levels_ - 1].pending.empty()) {
            climb();
            continue;
        }
        if (walk_.wantsWork()) {
            share();
            if (frames_[levels_ - 1].pending.empty())
                continue;
        }
        Frame& top = frames_[levels_ - 1];
        const int child = ::openat(top.dir->fd(), top.pending.back().c_str(), directoryFlags);
        const int childError = errno;
        std::string name = std::move(top.pending.back());
        top.pending.pop_back();
        if (child < 0) {
            if (!vanished(childError))
                ++tally_.unreadable;
            walk_.release(top.node);
            continue;
        }
        if (walk_.foreign(child)) {
            ::close(child);
            walk_.release(top.node);
            continue;
        }
        const SizeMeter::Exclusions* skip = top.skip ? top.skip->find(name) : nullptr;
        // `top` may move when enter() grows the frames.
        auto node = nodeFor(top.node, name);
        enter(child, std::move(node), skip);
    }
}

void Walker::enter(int fd, std::shared_ptr<FolderNode> node, const SizeMeter::Exclusions* skip) {
    if (levels_ == frames_.size())
        frames_.emplace_back();
    Frame& frame = frames_[levels_++];
    frame.dir = std::make_shared<DirHandle>(fd);
    frame.node = std::move(node);
    frame.skip = skip;
    frame.pending.clear();
    frame.identityKnown = false;
    if (levels_ > window_) {
        // Leaving the window: remember who the folder is, so that climbing back through ".." can
        // make sure it arrives in the same folder even if the tree was moved meanwhile.
        Frame& old = frames_[levels_ - 1 - window_];
        if (old.dir) {
            struct stat st;
            if (::fstat(old.dir->fd(), &st) == 0) {
                old.identityKnown = true;
                old.device = st.st_dev;
                old.inode = st.st_ino;
            }
            old.dir.reset();
        }
    }
    const std::int64_t before = tally_.bytes;
    list(frame);
    if (frame.node) {
        frame.node->bytes.fetch_add(tally_.bytes - before, std::memory_order_relaxed);
        frame.node->outstanding.fetch_add(static_cast<std::int64_t>(frame.pending.size()),
                                          std::memory_order_relaxed);
        walk_.release(frame.node);
    }
    ++tally_.directories;
    walk_.noteDirectories(tally_.directories);
}

void Walker::list(Frame& frame) {
    const int fd = frame.dir->fd();
    std::size_t sinceStopCheck = 0;
    const bool complete = reader_.read(fd, [&](const char* name, unsigned char type) {
        // A folder with millions of entries must not delay a cancellation.
        if (++sinceStopCheck == 4096) {
            sinceStopCheck = 0;
            if (walk_.stopRequested())
                return false;
        }
        if (frame.skip) {
            if (const auto* left = frame.skip->find(name); left && left->whole)
                return true;
        }
        switch (type) {
        case DT_DIR:
            frame.pending.emplace_back(name);
            return true;
        case DT_REG:
        case DT_UNKNOWN:
            break; // some file systems do not say; statx does
        default:
            return true; // links, devices, pipes, sockets: 0
        }
        EntryInfo info;
        if (const int error = examine(fd, name, info); error != 0) {
            if (!vanished(error))
                ++tally_.unreadable;
            return true;
        }
        if (info.kind == EntryInfo::Kind::regular)
            count(info);
        else if (info.kind == EntryInfo::Kind::directory)
            frame.pending.emplace_back(name);
        return true;
    });
    if (!complete)
        ++tally_.unreadable;
}

void Walker::count(const EntryInfo& info) {
    if (info.hardLinked && !walk_.firstSighting({info.device, info.inode}))
        return;
    tally_.bytes += info.bytes;
    ++tally_.files;
}

void Walker::climb() {
    Frame& top = frames_[levels_ - 1];
    if (levels_ >= 2) {
        Frame& below = frames_[levels_ - 2];
        if (!below.dir) {
            const int fd = ::openat(top.dir->fd(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            struct stat st;
            if (fd >= 0 && below.identityKnown && ::fstat(fd, &st) == 0 && st.st_dev == below.device &&
                st.st_ino == below.inode) {
                below.dir = std::make_shared<DirHandle>(fd);
            } else {
                // The folder was moved while we were below it: what is still pending above cannot
                // be reached safely any more and counts 0.
                if (fd >= 0)
                    ::close(fd);
                ++tally_.unreadable;
                abandon();
                return;
            }
        }
    }
    top.dir.reset();
    top.node.reset();
    top.pending.clear();
    --levels_;
}

void Walker::share() {
    // The shallowest pending folders are likely the largest pieces of work; hand over the half this
    // thread would have visited last.
    for (std::size_t level = 0; level < levels_; ++level) {
        Frame& frame = frames_[level];
        if (frame.dir && !frame.pending.empty()) {
            walk_.give(frame.dir, frame.node, frame.skip, frame.pending, (frame.pending.size() + 1) / 2);
            return;
        }
    }
}

void Walker::abandon() {
    for (std::size_t level = 0; level < levels_; ++level) {
        // Folders given up count what was seen, so that the folders around them still complete.
        for (std::size_t i = 0; i < frames_[level].pending.size(); ++i)
            walk_.release(frames_[level].node);
        frames_[level].dir.reset();
        frames_[level].node.reset();
        frames_[level].pending.clear();
    }
    levels_ = 0;
}

std::optional<Job> Walk::take() {
    std::unique_lock lock(mutex_);
    ++idle_;
    for (;;) {
        if (finished_)
            return std::nullopt;
        if (stopRequested() || (jobs_.empty() && idle_ == active_)) {
            finished_ = true;
            wakeUp_.notify_all();
            return std::nullopt;
        }
        if (!jobs_.empty())
            break;
        waiting_.fetch_add(1, std::memory_order_relaxed);
        wakeUp_.wait(lock);
        waiting_.fetch_sub(1, std::memory_order_relaxed);
    }
    --idle_;
    Job job = std::move(jobs_.back());
    jobs_.pop_back();
    return job;
}

bool Walk::give(const std::shared_ptr<DirHandle>& parent, const std::shared_ptr<FolderNode>& parentNode,
                const SizeMeter::Exclusions* parentSkip, std::vector<std::string>& names, std::size_t count) {
    {
        std::lock_guard lock(mutex_);
        // Only an empty pool with someone waiting gets more: that keeps the number of descriptors
        // held by waiting jobs small.
        if (!jobs_.empty() || waiting_.load(std::memory_order_relaxed) == 0 || finished_)
            return false;
        for (std::size_t i = 0; i < count; ++i)
            jobs_.push_back(Job{parent, std::move(names[i]), parentNode, parentSkip});
    }
    names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(count));
    wakeUp_.notify_all();
    return true;
}

void Walk::startHelpers() {
    parallel_.store(true, std::memory_order_relaxed);
    const unsigned wanted = std::max(1U, options_.threads) - 1;
    {
        std::lock_guard lock(mutex_);
        active_ += wanted;
    }
    unsigned started = 0;
    try {
        helpers_.reserve(wanted);
        for (; started < wanted; ++started)
            helpers_.emplace_back([this] { helperMain(); });
    } catch (const std::system_error&) {
        // Out of threads: walk with those that did start.
        std::lock_guard lock(mutex_);
        active_ -= wanted - started;
    }
}

void Walk::helperMain() {
    Walker walker(*this);
    while (auto job = take())
        walker.walk(std::move(*job));
    std::lock_guard lock(mutex_);
    finishedTally_ += walker.tally();
}

SizeMeter::Result Walk::run(std::string location, const SizeMeter::Exclusions* skip) {
    jobs_.push_back(Job{nullptr, std::move(location), nullptr, skip});
    if (options_.threads <= 1)
        parallel_.store(true, std::memory_order_relaxed); // never start helpers
    Walker walker(*this);
    while (auto job = take())
        walker.walk(std::move(*job));
    for (std::thread& helper : helpers_)
        helper.join();
    Tally total = walker.tally();
    total += finishedTally_;
    return SizeMeter::Result{total.bytes, total.files, total.directories, total.unreadable,
                             stopped_.load(std::memory_order_relaxed)};
}

} // namespace

SizeMeter::SizeMeter(Options options) : options_(options) {}

unsigned SizeMeter::defaultThreads() {
    const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
    return std::clamp(4 * cores, 4U, 16U);
}

std::int64_t SizeMeter::size(const std::filesystem::path& location, StopToken stop) const {
    return measure(location, std::move(stop)).bytes;
}

SizeMeter::Result SizeMeter::measure(const std::filesystem::path& location, StopToken stop) const {
    // A trailing slash would make the system resolve a symbolic link at the location.
    std::string path = location.native();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    if (path.empty())
        return {};

    EntryInfo info;
    if (const int error = examine(AT_FDCWD, path.c_str(), info); error != 0)
        return Result{.unreadable = vanished(error) ? 0 : 1};
    switch (info.kind) {
    case EntryInfo::Kind::regular:
        return Result{.bytes = info.bytes, .files = 1};
    case EntryInfo::Kind::other:
        return {};
    case EntryInfo::Kind::directory:
        break;
    }
    Walk walk(options_, std::move(stop), info.device);
    return walk.run(std::move(path));
}

void SizeMeter::Exclusions::add(const std::vector<std::string>& components) {
    Exclusions* node = this;
    for (const auto& name : components) {
        if (node->whole)
            return; // already left out whole
        auto it = std::ranges::lower_bound(node->below, name, {}, &Exclusions::name);
        if (it == node->below.end() || it->name != name)
            it = node->below.insert(it, Exclusions{name, false, {}});
        node = &*it;
    }
    node->whole = true;
    node->below.clear();
}

const SizeMeter::Exclusions* SizeMeter::Exclusions::find(std::string_view child) const {
    const auto it = std::ranges::lower_bound(below, child, {},
                                             [](const Exclusions& e) -> std::string_view { return e.name; });
    return it != below.end() && it->name == child ? &*it : nullptr;
}

SizeMeter::FolderTotals SizeMeter::measureFolders(const std::filesystem::path& location,
                                                  const Exclusions& leaveOut, std::int64_t keepAtLeast,
                                                  StopToken stop) const {
    std::string path = location.native();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    FolderTotals totals;
    if (path.empty() || leaveOut.whole)
        return totals;
    EntryInfo info;
    if (const int error = examine(AT_FDCWD, path.c_str(), info); error != 0) {
        totals.result.unreadable = vanished(error) ? 0 : 1;
        return totals;
    }
    if (info.kind != EntryInfo::Kind::directory)
        return totals;

    Walk walk(options_, std::move(stop), info.device, keepAtLeast);
    totals.result = walk.run(path, &leaveOut);

    // Parents before children: a folder's depth is the length of its chain of parents.
    auto kept = walk.keptFolders();
    const auto depth = [](const FolderNode* node) {
        std::size_t d = 0;
        for (; node->parent; node = node->parent.get())
            ++d;
        return d;
    };
    std::vector<std::pair<std::size_t, std::shared_ptr<FolderNode>>> ordered;
    ordered.reserve(kept.size());
    for (auto& node : kept)
        ordered.emplace_back(depth(node.get()), std::move(node));
    std::ranges::stable_sort(ordered, {}, &std::pair<std::size_t, std::shared_ptr<FolderNode>>::first);
    std::unordered_map<const FolderNode*, std::ptrdiff_t> index;
    for (const auto& [d, node] : ordered) {
        FolderTotal folder{location, node->total, -1};
        if (node->parent) {
            const auto parent = index.find(node->parent.get());
            if (parent == index.end())
                continue; // its parent never completed (the walk was stopped)
            folder.parent = parent->second;
            folder.location = totals.folders[static_cast<std::size_t>(parent->second)].location / node->name;
        }
        index.emplace(node.get(), static_cast<std::ptrdiff_t>(totals.folders.size()));
        totals.folders.push_back(std::move(folder));
    }
    return totals;
}

SizeMeasurer::Measurement SizeMeter::measureBounded(const std::filesystem::path& location, StopToken stop,
                                                    bool oneFileSystem) const {
    Options options = options_;
    options.oneFileSystem = oneFileSystem;
    const Result result = SizeMeter(options).measure(location, std::move(stop));
    return Measurement{result.bytes, !result.stopped && result.unreadable == 0};
}

} // namespace velmora
