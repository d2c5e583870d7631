// Owns one POSIX file descriptor and closes it exactly once; the building block of the
// descriptor-relative file operations (trash, tree deletion), where a leaked descriptor is a bug.
#pragma once

#include <unistd.h>
#include <utility>

namespace velmora {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other)
            reset(std::exchange(other.fd_, -1));
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    explicit operator bool() const { return valid(); }
    // Gives up ownership, for a caller that must see the result of close() itself.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    // Closes the descriptor held so far (a close error is ignored: nothing was written through it
    // that a failed close could lose) and takes `fd` instead.
    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

} // namespace velmora
