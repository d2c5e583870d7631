#include "Platform/ExecutablePath.hpp"

#ifdef __APPLE__
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <mach-o/dyld.h>
#include <vector>
#endif

namespace velmora {

std::optional<std::filesystem::path> currentExecutablePath() {
#ifdef __APPLE__
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::vector<char> buffer(size + 1, '\0');
    if (_NSGetExecutablePath(buffer.data(), &size) != 0)
        return std::nullopt;
    char resolved[PATH_MAX];
    if (::realpath(buffer.data(), resolved) == nullptr)
        return std::nullopt;
    return std::filesystem::path(resolved);
#else
    std::error_code ec;
    auto target = std::filesystem::read_symlink("/proc/self/exe", ec).string();
    if (ec || target.empty() || target.front() != '/')
        return std::nullopt;
    constexpr std::string_view deleted = " (deleted)";
    if (target.ends_with(deleted))
        target.resize(target.size() - deleted.size());
    return std::filesystem::path(target);
#endif
}

} // namespace velmora
