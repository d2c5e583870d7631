// Empties the Trash of the macOS layout by asking the Finder (through osascript), since the Finder
// keeps its own records of what lies in ~/.Trash and on other volumes' Trashes.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/SizeMeasurer.hpp"
#include "Removal/TrashEmptier.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

class FinderTrashEmptier final : public TrashEmptier {
public:
    static constexpr std::string_view osascript = "/usr/bin/osascript";
    static constexpr std::string_view script = "tell application \"Finder\" to empty trash";
    // Emptying a Trash of many thousand files takes the Finder minutes.
    static constexpr std::chrono::seconds timeout{600};
    // What the platform answers when it refuses to let us steer the Finder.
    static constexpr std::string_view automationRefused = "-1743";
    static constexpr std::size_t messageCharacters = 200;

    // `osascriptPath` is where osascript is started from (inside a test root, the stand-in there);
    // `trashFolder` is the home's ".Trash", measured with `sizer`.
    FinderTrashEmptier(std::shared_ptr<CommandRunner> commands, std::filesystem::path osascriptPath,
                       std::filesystem::path trashFolder, std::shared_ptr<const SizeMeasurer> sizer);

    std::optional<std::int64_t> size(StopToken stop = {}) const override;
    // A time-out fails with "Zeitüberschreitung"; a refusal of the automation (standard error holding
    // "-1743") is `automationDenied`; any other non-zero exit fails with the trimmed standard error, cut
    // to 200 characters and "…", or "Exit <status>" when it is empty.
    std::expected<std::int64_t, EmptyTrashError> empty(bool dryRun, StopToken stop = {}) const override;

    // The message of a failed run: see `empty`.
    static std::string failureMessage(const CommandResult& result);

private:
    std::shared_ptr<CommandRunner> commands_;
    std::filesystem::path osascriptPath_;
    std::filesystem::path trashFolder_;
    std::shared_ptr<const SizeMeasurer> sizer_;
};

// The bytes of a Trash folder: 0 when it does not exist, nothing when it cannot be opened (without
// Full Disk Access, say), else what `sizer` counts in it. A link in its place is not followed.
std::optional<std::int64_t> trashFolderSize(const SizeMeasurer& sizer, const std::filesystem::path& folder,
                                            StopToken stop);

} // namespace velmora
