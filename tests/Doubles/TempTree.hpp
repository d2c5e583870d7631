// A throw-away folder for test trees, removed when the test ends (deep and locked parts included, links
// never followed), with helpers to snapshot a tree, freeze a folder and bind even root by permissions.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <linux/fs.h>
#include <sys/syscall.h>
#endif

extern char** environ;

namespace velmora::testing {

class TempTree {
public:
    explicit TempTree(const std::filesystem::path& base = std::filesystem::temp_directory_path()) {
        std::string pattern = (base / "velmora-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        root_ = pattern;
    }
    ~TempTree() {
        // rm handles chains deeper than PATH_MAX; locked folders are opened first; no link is followed.
        const std::string path = root_.string();
        const char* chmodArgs[] = {"chmod", "-R", "u+rwx", path.c_str(), nullptr};
        const char* rmArgs[] = {"rm", "-rf", path.c_str(), nullptr};
        run(chmodArgs);
        if (!run(rmArgs)) {
            std::error_code ignored;
            std::filesystem::remove_all(root_, ignored);
        }
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::filesystem::path& root() const { return root_; }
    // A path already inside the tree stays as it is; any other is taken below the root, absolute ones
    // too ("/Users/anna" → <root>/Users/anna), so that a test spelling the logical path builds in its
    // tree, never at that path on this machine.
    std::filesystem::path operator/(const std::filesystem::path& path) const {
        const auto inside = path.lexically_relative(root_);
        if (path.is_absolute() && !inside.empty() && *inside.begin() != "..")
            return path;
        return root_ / path.relative_path();
    }
    std::filesystem::path operator()(const std::filesystem::path& logical) const { return *this / logical; }

    std::filesystem::path folder(const std::filesystem::path& relative) const {
        std::filesystem::create_directories(*this / relative);
        return *this / relative;
    }
    std::filesystem::path file(const std::filesystem::path& relative, std::string_view content = "x") const {
        const auto path = *this / relative;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    // A number is no content: sizes go to filledFile.
    std::filesystem::path file(const std::filesystem::path&, std::integral auto) const = delete;
    // A file of `bytes` bytes of real data (so that they occupy blocks).
    std::filesystem::path filledFile(const std::filesystem::path& relative, std::size_t bytes) const {
        const auto path = *this / relative;
        std::filesystem::create_directories(path.parent_path());
        writeFile(AT_FDCWD, path.c_str(), bytes);
        return path;
    }
    // A symbolic link whose target is stored exactly as given.
    std::filesystem::path link(const std::filesystem::path& relative,
                               const std::filesystem::path& target) const {
        const auto path = *this / relative;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_symlink(target, path);
        return path;
    }

    // A chain of `depth` folders "d" made through descriptors (its path is far beyond PATH_MAX);
    // `inEach(fd, level)` runs in the root and each folder but the last before the next is made.
    void chain(int depth, const std::function<void(int, int)>& inEach) const {
        int fd = ::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < depth && fd >= 0; ++level) {
            inEach(fd, level);
            ::mkdirat(fd, "d", 0755);
            const int next = ::openat(fd, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(fd);
            fd = next;
        }
        ASSERT_GE(fd, 0) << std::strerror(errno);
        ::close(fd);
    }

    static void writeFile(int dirFd, const char* name, std::size_t bytes) {
        const int fd = ::openat(dirFd, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        ASSERT_GE(fd, 0) << name << ": " << std::strerror(errno);
        const std::string chunk(64 * 1024, 'v');
        while (bytes > 0) {
            const std::size_t n = std::min(bytes, chunk.size());
            ASSERT_EQ(::write(fd, chunk.data(), n), static_cast<ssize_t>(n));
            bytes -= n;
        }
        ::close(fd);
    }

private:
    static bool run(const char* const* args) {
        pid_t pid = 0;
        if (::posix_spawnp(&pid, args[0], nullptr, nullptr, const_cast<char* const*>(args), environ) != 0)
            return false;
        int status = 0;
        return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    std::filesystem::path root_;
};

inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The sorted names in `folder`; none when it is missing.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

// True when `path` names anything, a dangling link included.
inline bool present(const std::filesystem::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

// Every entry below `root` (links not followed) with its kind and content or link target.
inline std::map<std::string, std::string> snapshot(const std::filesystem::path& root) {
    namespace fs = std::filesystem;
    std::map<std::string, std::string> result;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
        const auto rel = it->path().lexically_relative(root).string();
        if (it->is_symlink())
            result[rel] = "link:" + fs::read_symlink(it->path()).string();
        else if (it->is_directory())
            result[rel] = "folder";
        else
            result[rel] = "file:" + contentOf(it->path());
    }
    return result;
}

// A snapshot of `root` without what lies at or below each of `paths`.
inline std::map<std::string, std::string> without(std::map<std::string, std::string> snapshot,
                                                  const std::filesystem::path& root,
                                                  const std::vector<std::filesystem::path>& paths) {
    for (const auto& path : paths) {
        const std::string rel = path.lexically_relative(root).string();
        std::erase_if(snapshot, [&](const auto& entry) {
            return entry.first == rel || entry.first.starts_with(rel + "/");
        });
    }
    return snapshot;
}

// Bytes a single entry (not what is in it) occupies on disk, as lstat tells; 0 for a missing one.
inline std::int64_t occupiedBytes(const std::filesystem::path& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return 0;
    return static_cast<std::int64_t>(st.st_blocks) * 512;
}

// Bytes the regular files below `folder` occupy (links not followed, a hard link once per path): what a
// size meter must report for it.
inline std::int64_t filesBytes(const std::filesystem::path& folder) {
    std::int64_t total = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && !entry.is_symlink())
            total += occupiedBytes(entry.path());
    return total;
}

// A memory file system for trees that are slow to remove from a disk (thousands of folders), when the
// system has one; the temp folder otherwise.
inline std::filesystem::path memoryBackedTempBase() {
    std::error_code error;
    if (std::filesystem::is_directory("/dev/shm", error) && ::access("/dev/shm", W_OK) == 0)
        return "/dev/shm";
    return std::filesystem::temp_directory_path();
}

// Makes `folder` refuse changes: read-only for a normal user, immutable for root (whom permissions do
// not stop); undone on destruction. `active()` is false when neither works (the test must skip).
class FrozenFolder {
public:
    explicit FrozenFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
        active_ = ::geteuid() != 0 ? ::chmod(folder_.c_str(), 0555) == 0 : setImmutable(true);
    }
    ~FrozenFolder() { thaw(); }
    FrozenFolder(const FrozenFolder&) = delete;
    FrozenFolder& operator=(const FrozenFolder&) = delete;

    bool active() const { return active_; }
    void thaw() {
        if (std::exchange(active_, false) &&
            (::geteuid() != 0 ? ::chmod(folder_.c_str(), 0755) != 0 : !setImmutable(false)))
            ADD_FAILURE() << "could not thaw " << folder_;
    }

private:
    bool setImmutable([[maybe_unused]] bool on) const {
#ifdef __linux__
        const int fd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY);
        if (fd < 0)
            return false;
        int flags = 0;
        bool done = false;
        if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags = on ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
            done = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        }
        ::close(fd);
        return done;
#else
        return false;
#endif
    }

    std::filesystem::path folder_;
    bool active_ = false;
};

// Runs `work` on a thread that obeys file permissions even as root (it drops the capabilities that let
// root read any folder; its threads inherit that). False when permissions cannot be made to bind.
inline bool runBoundByPermissions(const std::function<void()>& work) {
    if (::geteuid() != 0) {
        work();
        return true;
    }
#ifdef __linux__
    bool dropped = false;
    std::thread thread([&] {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2]{};
        if (::syscall(SYS_capget, &header, data) != 0)
            return;
        for (int cap : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
            data[cap / 32].effective &= ~(1U << (cap % 32));
        // Only this thread changes: the raw system call, unlike libc's wrappers, is per thread.
        if (::syscall(SYS_capset, &header, data) != 0)
            return;
        dropped = true;
        work();
    });
    thread.join();
    return dropped;
#else
    return false;
#endif
}

} // namespace velmora::testing
