#include "Scanning/Scanners/PersonalFinding.hpp"

#include "Platform/UniqueFd.hpp"
#include "Scanning/ScanContext.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace velmora::personal {

Finding finding(const Texts& texts, RemovalMethod method, std::vector<FindingItem> items) {
    Finding result;
    result.id = FindingID{std::string(texts.scannerID), ""};
    result.category = categoryForScannerID(texts.scannerID).value_or(Category::personalData);
    result.title = texts.title;
    result.summary = texts.summary;
    result.risk = texts.risk;
    result.method = std::move(method);
    std::optional<std::int64_t> total = 0;
    for (const auto& item : items)
        total = total && item.size ? std::optional(*total + *item.size) : std::nullopt;
    result.size = total;
    result.items = std::move(items);
    return result;
}

FolderAccess folderAccess(const std::filesystem::path& folder) {
    struct stat info {};
    // A folder behind the system's privacy protection may not even be looked at.
    if (::lstat(folder.c_str(), &info) != 0)
        return errno == EACCES || errno == EPERM ? FolderAccess::unreadable : FolderAccess::missing;
    if (!S_ISDIR(info.st_mode))
        return FolderAccess::missing;
    const UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd)
        return FolderAccess::readable;
    return errno == EACCES || errno == EPERM ? FolderAccess::unreadable : FolderAccess::missing;
}

Finding lackingAccess(const Texts& texts, RemovalMethod method) {
    auto result = finding(texts, std::move(method), {});
    result.size.reset();
    result.needsFullDiskAccess = true;
    return result;
}

std::filesystem::path logicalPath(const ScanContext& context, const std::filesystem::path& physical) {
    const auto inside = physical.lexically_relative(context.rootPrefix);
    if (inside.empty() || *inside.begin() == "..")
        return physical;
    return std::filesystem::path("/") / inside;
}

std::filesystem::path userFolder(const ScanContext& context,
                                 std::optional<std::filesystem::path> XdgUserDirs::*folder,
                                 std::string_view fallback) {
    const auto dirs = XdgUserDirs::read(context.rootPrefix, logicalPath(context, context.home));
    if (const auto& named = dirs.*folder)
        return context.underRoot(*named);
    return context.home / fallback;
}

} // namespace velmora::personal
