#include "Removal/FinderTrashEmptier.hpp"

#include "Support/Log.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace velmora {

namespace {

// The first `count` characters of UTF-8 text, never cutting a sequence; `cut` tells whether any went.
std::string firstCharacters(std::string_view text, std::size_t count, bool& cut) {
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80)
            continue;
        if (characters++ == count) {
            cut = true;
            return std::string(text.substr(0, i));
        }
    }
    cut = false;
    return std::string(text);
}

} // namespace

std::optional<std::int64_t> trashFolderSize(const SizeMeasurer& sizer, const std::filesystem::path& folder,
                                            StopToken stop) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT ? std::optional<std::int64_t>(0) : std::nullopt;
    ::close(fd);
    return sizer.size(folder, std::move(stop));
}

FinderTrashEmptier::FinderTrashEmptier(std::shared_ptr<CommandRunner> commands,
                                       std::filesystem::path osascriptPath, std::filesystem::path trashFolder,
                                       std::shared_ptr<const SizeMeasurer> sizer)
    : commands_(std::move(commands)), osascriptPath_(std::move(osascriptPath)),
      trashFolder_(std::move(trashFolder)), sizer_(std::move(sizer)) {}

std::optional<std::int64_t> FinderTrashEmptier::size(StopToken stop) const {
    return sizer_ ? trashFolderSize(*sizer_, trashFolder_, std::move(stop)) : std::nullopt;
}

std::string FinderTrashEmptier::failureMessage(const CommandResult& result) {
    const auto error = Text::trimmed(result.standardError);
    if (error.empty())
        return "Exit " + std::to_string(result.exitCode);
    bool cut = false;
    auto message = firstCharacters(error, messageCharacters, cut);
    return cut ? message + "…" : message;
}

std::expected<std::int64_t, EmptyTrashError> FinderTrashEmptier::empty(bool dryRun, StopToken stop) const {
    if (dryRun)
        return 0;
    const auto before = size(stop);
    const auto outcome = commands_->run(osascriptPath_, {"-e", std::string(script)}, timeout, stop);
    if (!outcome) {
        if (outcome.error().kind == CommandError::Kind::timeout)
            return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::failed, "Zeitüberschreitung"});
        const auto& message = outcome.error().message;
        return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::failed,
                                               !message.empty() ? message
                                               : outcome.error().kind == CommandError::Kind::cancelled
                                                   ? std::string("Abgebrochen")
                                                   : std::string("osascript startet nicht")});
    }
    if (outcome->exitCode != 0) {
        if (outcome->standardError.find(automationRefused) != std::string::npos)
            return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::automationDenied, {}});
        Log::error("trash", "Finder could not empty the Trash: " + Text::singleLine(outcome->standardError));
        return std::unexpected(EmptyTrashError{EmptyTrashError::Kind::failed, failureMessage(*outcome)});
    }
    const auto after = size(stop);
    return std::max<std::int64_t>(0, before.value_or(0) - after.value_or(0));
}

} // namespace velmora
