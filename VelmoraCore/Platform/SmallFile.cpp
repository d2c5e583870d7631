#include "Platform/SmallFile.hpp"

#include "Platform/UniqueFd.hpp"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace velmora {

namespace {

std::optional<std::string> readAll(const UniqueFd& fd, std::size_t limit) {
    if (!fd)
        return std::nullopt;
    std::string content;
    char buffer[4096];
    while (content.size() < limit) {
        const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        content.append(buffer, static_cast<std::size_t>(got));
    }
    return content;
}

} // namespace

std::optional<std::string> readSmallFile(const std::filesystem::path& file, std::size_t limit) {
    return readAll(UniqueFd(::open(file.c_str(), O_RDONLY | O_CLOEXEC)), limit);
}

std::optional<std::string> readSmallFileAt(int directory, const char* name, std::size_t limit) {
    return readAll(UniqueFd(::openat(directory, name, O_RDONLY | O_CLOEXEC)), limit);
}

} // namespace velmora
