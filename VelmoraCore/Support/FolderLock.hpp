// An exclusive advisory lock on a folder, held for one read-change-write of a file in it, so that two
// processes (the window, the command line, the scheduled check) never lose each other's changes.
#pragma once

#include <filesystem>

namespace velmora {

class FolderLock {
public:
    // Blocks until the lock is held; error() says why it could not be taken (errno).
    explicit FolderLock(const std::filesystem::path& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    int error() const { return error_; }

private:
    int fd_;
    int error_ = 0;
};

} // namespace velmora
