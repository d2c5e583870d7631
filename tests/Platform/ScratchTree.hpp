// A throw-away folder for tests of the file-system primitives, with small helpers to build nasty trees
// in it, to take an exact snapshot of a tree, and to make a folder unchangeable even for root.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#ifdef __linux__
#include <linux/fs.h>
#endif
#include <map>
#include <sstream>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::scratch {

namespace fs = std::filesystem;

class ScratchTree {
public:
    explicit ScratchTree(const fs::path& base = fs::temp_directory_path()) {
        std::string pattern = (base / "velmora-scratch-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        root_ = pattern;
    }
    ~ScratchTree() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    ScratchTree(const ScratchTree&) = delete;
    ScratchTree& operator=(const ScratchTree&) = delete;

    const fs::path& root() const { return root_; }
    fs::path operator/(const fs::path& relative) const { return root_ / relative; }

    fs::path file(const fs::path& relative, const std::string& content = "x") const {
        const fs::path path = root_ / relative;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    fs::path folder(const fs::path& relative) const {
        fs::create_directories(root_ / relative);
        return root_ / relative;
    }
    fs::path link(const fs::path& relative, const fs::path& target) const {
        fs::create_directories((root_ / relative).parent_path());
        fs::create_symlink(target, root_ / relative);
        return root_ / relative;
    }

private:
    fs::path root_;
};

inline std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// Every entry below `root` with its kind and, for files, content and for links, target: two equal
// snapshots mean nothing in the tree changed.
inline std::map<std::string, std::string> snapshot(const fs::path& root) {
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

// True when `path` names anything, a dangling link included.
inline bool present(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

// Makes `folder` refuse changes to its entries: read-only permissions for a normal user, the
// immutable attribute for root (whom permissions do not stop). Undone on destruction. `active()` is
// false when neither works here (then the test must skip).
class FrozenFolder {
public:
    explicit FrozenFolder(fs::path folder) : folder_(std::move(folder)) {
        if (::geteuid() != 0) {
            active_ = ::chmod(folder_.c_str(), 0555) == 0;
            return;
        }
#ifdef __linux__
        const int fd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY);
        int flags = 0;
        if (fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags |= FS_IMMUTABLE_FL;
            active_ = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        }
        if (fd >= 0)
            ::close(fd);
#endif
    }
    ~FrozenFolder() {
        thaw();
    }
    FrozenFolder(const FrozenFolder&) = delete;
    FrozenFolder& operator=(const FrozenFolder&) = delete;

    bool active() const {
        return active_;
    }
    void thaw() {
        if (!active_)
            return;
        active_ = false;
        if (::geteuid() != 0) {
            ::chmod(folder_.c_str(), 0755);
            return;
        }
#ifdef __linux__
        const int fd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY);
        int flags = 0;
        if (fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags &= ~FS_IMMUTABLE_FL;
            ::ioctl(fd, FS_IOC_SETFLAGS, &flags);
        }
        if (fd >= 0)
            ::close(fd);
#endif
    }

private:
    fs::path folder_;
    bool active_ = false;
};

} // namespace velmora::scratch
