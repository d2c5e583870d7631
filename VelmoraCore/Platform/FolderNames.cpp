#include "Platform/FolderNames.hpp"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace velmora {

std::expected<std::vector<std::string>, int> folderNames(int fd) {
    // fdopendir takes over the descriptor it is given; the caller's own one stays with the caller.
    const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0)
        return std::unexpected(errno);
    DIR* dir = ::fdopendir(copy);
    if (dir == nullptr) {
        const int code = errno;
        ::close(copy);
        return std::unexpected(code);
    }
    std::vector<std::string> names;
    int code = 0;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(dir);
        if (entry == nullptr) {
            code = errno;
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(dir);
    if (code != 0)
        return std::unexpected(code);
    return names;
}

} // namespace velmora
