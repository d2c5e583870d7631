#include "Platform/ParentDirectory.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace velmora {

std::expected<ParentDirectory, ParentDirectoryError>
ParentDirectory::open(const std::filesystem::path& item) {
    const auto invalid = std::unexpected(ParentDirectoryError{ParentDirectoryError::Kind::invalidPath, 0});
    std::string text = item.native();
    if (text.empty() || text.front() != '/')
        return invalid;
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    const std::size_t slash = text.rfind('/');
    std::string name = text.substr(slash + 1);
    std::string folder = slash == 0 ? std::string("/") : text.substr(0, slash);
    if (name.empty() || name == "." || name == "..")
        return invalid;
    // A "." or ".." above the item would let the lexical path the guard vetted differ from the place
    // acted on; such paths never come from a scan, so they are refused rather than interpreted.
    for (const auto& part : std::filesystem::path(folder))
        if (part == "." || part == "..")
            return invalid;

    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        const int code = errno;
        struct stat st {};
        if ((code == ELOOP || code == ENOTDIR) && ::lstat(folder.c_str(), &st) == 0 && S_ISLNK(st.st_mode))
            return std::unexpected(ParentDirectoryError{ParentDirectoryError::Kind::parentIsSymlink, 0});
        return std::unexpected(ParentDirectoryError{ParentDirectoryError::Kind::system, code});
    }
    return ParentDirectory{UniqueFd(fd), std::move(name)};
}

} // namespace velmora
