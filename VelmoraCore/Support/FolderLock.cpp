#include "Support/FolderLock.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace velmora {

FolderLock::FolderLock(const std::filesystem::path& folder)
    : fd_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (fd_ < 0) {
        error_ = errno;
        return;
    }
    while (::flock(fd_, LOCK_EX) != 0) {
        if (errno != EINTR) {
            error_ = errno;
            break;
        }
    }
}

FolderLock::~FolderLock() {
    if (fd_ >= 0)
        ::close(fd_); // closing releases the lock
}

} // namespace velmora
