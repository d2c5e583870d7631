// A folder under the system's temp folder for building test trees, removed again afterwards (deep,
// locked and oddly named parts included), plus a way to lose root's power to read any folder.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <sys/syscall.h>
#endif

extern char** environ;

namespace velmora::testing {

class TempTree {
public:
    // `base` defaults to the system's temp folder.
    explicit TempTree(const std::filesystem::path& base = std::filesystem::temp_directory_path()) {
        std::string pattern = (base / "velmora-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        root_ = pattern;
    }
    ~TempTree() {
        // rm handles what std::filesystem cannot: chains deeper than PATH_MAX. Folders locked by a
        // test are opened up first.
        const std::string path = root_.string();
        const char* chmodArgs[] = {"chmod", "-R", "u+rwx", path.c_str(), nullptr};
        const char* rmArgs[] = {"rm", "-rf", path.c_str(), nullptr};
        run(chmodArgs);
        run(rmArgs);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return root_ / relative; }

    std::filesystem::path folder(const std::filesystem::path& relative) const {
        std::filesystem::create_directories(root_ / relative);
        return root_ / relative;
    }

    // A file of `bytes` bytes of real data (so that they occupy blocks).
    std::filesystem::path file(const std::filesystem::path& relative, std::size_t bytes) const {
        const std::filesystem::path path = root_ / relative;
        std::filesystem::create_directories(path.parent_path());
        writeFile(AT_FDCWD, path.c_str(), bytes);
        return path;
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
    static void run(const char* const* args) {
        pid_t pid = 0;
        if (::posix_spawnp(&pid, args[0], nullptr, nullptr, const_cast<char* const*>(args), environ) != 0)
            return;
        int status = 0;
        ::waitpid(pid, &status, 0);
    }

    std::filesystem::path root_;
};

// A memory file system for trees that are slow to remove from a disk (thousands of folders), when the
// system has one; the temp folder otherwise.
inline std::filesystem::path memoryBackedTempBase() {
    std::error_code error;
    if (std::filesystem::is_directory("/dev/shm", error) && ::access("/dev/shm", W_OK) == 0)
        return "/dev/shm";
    return std::filesystem::temp_directory_path();
}

// Bytes a single entry occupies on disk, as lstat tells (0 for anything but a regular file).
inline std::int64_t allocatedBytes(const std::filesystem::path& path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return 0;
    return static_cast<std::int64_t>(st.st_blocks) * 512;
}

// Runs `work` on a thread that obeys file permissions even when the tests run as root (the thread
// gives up the capabilities that let root read and enter any folder; threads it starts inherit
// that). Returns false when the permissions cannot be made to bind.
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
