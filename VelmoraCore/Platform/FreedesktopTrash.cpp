#include "Platform/FreedesktopTrash.hpp"

#include "Platform/TrashPrimitives.hpp"
#include "Support/FileURL.hpp"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace {

constexpr std::size_t maxAttempts = 10'000;
constexpr std::string_view infoExtension = ".trashinfo";

// Writes all of `text` to a freshly created file; 0 or the errno.
int writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// The original path as it is recorded: absolute, without the trailing slashes a caller may have typed.
std::string recordedPath(const std::filesystem::path& item) {
    std::string text = item.native();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

} // namespace

FreedesktopTrash::FreedesktopTrash(std::filesystem::path dataHome, Clock now, std::filesystem::path anchor)
    : dataHome_(std::move(dataHome)), folder_(dataHome_ / "Trash"), now_(std::move(now)),
      anchor_(std::move(anchor)) {}

std::filesystem::path FreedesktopTrash::dataHomeFor(const std::filesystem::path& home,
                                                    const char* xdgDataHome) {
    // The base directory rules say a relative value is invalid and must be ignored.
    if (xdgDataHome != nullptr && xdgDataHome[0] == '/')
        return xdgDataHome;
    return home / ".local" / "share";
}

std::string FreedesktopTrash::trashInfoText(const std::filesystem::path& original,
                                            std::chrono::system_clock::time_point deletedAt) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(deletedAt);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char date[32] = {};
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + percentEncodedPath(original) + "\nDeletionDate=" + date + "\n";
}

std::expected<std::filesystem::path, TrashError> FreedesktopTrash::moveToTrash(const RemovalTarget& item) {
    auto located = TrashPrimitives::locate(item);
    if (!located)
        return std::unexpected(located.error());

    auto filesFd = TrashPrimitives::openOrMakeFolders(anchor_, folder_ / "files");
    if (!filesFd)
        return std::unexpected(filesFd.error());
    auto infoFd = TrashPrimitives::openOrMakeFolders(anchor_, folder_ / "info");
    if (!infoFd)
        return std::unexpected(infoFd.error());
    if (auto same = TrashPrimitives::requireSameVolume(*located, filesFd->get()); !same)
        return std::unexpected(same.error());

    const std::string info = trashInfoText(recordedPath(item.path), now_());
    const std::string& name = located->name;
    for (std::size_t attempt = 1; attempt <= maxAttempts; ++attempt) {
        const std::string candidate = trashCandidateName(name, attempt, 255 - infoExtension.size());
        const std::string infoName = candidate + std::string(infoExtension);
        UniqueFd infoFile(::openat(infoFd->get(), infoName.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!infoFile) {
            if (errno == EEXIST)
                continue;
            return std::unexpected(TrashError::make(TrashError::Kind::system, errno));
        }
        const auto dropInfo = [&] { ::unlinkat(infoFd->get(), infoName.c_str(), 0); };
        const int raw = infoFile.release();
        int code = writeAll(raw, info);
        if (::close(raw) != 0 && code == 0)
            code = errno;
        if (code != 0) {
            dropInfo();
            return std::unexpected(TrashError::make(TrashError::Kind::system, code));
        }
        code = TrashPrimitives::renameWithoutReplacing(located->fd.get(), name.c_str(), filesFd->get(),
                                                       candidate.c_str());
        if (code == 0)
            return folder_ / "files" / candidate;
        dropInfo();
        // A name in "files" without its .trashinfo (left by a crashed program) is taken all the same.
        if (code != EEXIST && code != ENOTEMPTY)
            return std::unexpected(TrashPrimitives::moveFailure(*located, code));
    }
    return std::unexpected(TrashError::make(TrashError::Kind::nameUnavailable));
}

std::optional<std::filesystem::path> FreedesktopTrash::infoFileFor(const std::filesystem::path& entry) const {
    if (entry.parent_path() != folder_ / "files" || !entry.has_filename())
        return std::nullopt;
    return folder_ / "info" / (entry.filename().string() + std::string(infoExtension));
}

} // namespace velmora
