// Tests for Full Disk Access by listing the user's Safari folder, which macOS guards with it.
#include "Platform/FullDiskAccess.hpp"

#include <cerrno>

#include <dirent.h>

namespace velmora {

bool FullDiskAccess::hasFullDiskAccess(const std::filesystem::path& home) const {
    if (layout_ == PlatformLayout::linux)
        return true;
    // The listing only succeeded once reading reached its end; an error on the way means no access too.
    DIR* dir = ::opendir((home / "Library" / "Safari").c_str());
    if (dir == nullptr)
        return false;
    bool listed = true;
    for (;;) {
        errno = 0;
        if (::readdir(dir) != nullptr)
            continue;
        listed = errno == 0;
        break;
    }
    ::closedir(dir);
    return listed;
}

} // namespace velmora
