// Notifications of the automatic check on the macOS layout: `osascript -e 'display notification …'`.
// There is no way to ask whether the system lets them through, so they count as allowed wherever
// osascript is installed. Such a notification belongs to the script runner, not to Velmora: it carries
// no identifier nor tab, and a click on it cannot open ours (a signed app bundle posting through the
// notification center itself could).
#pragma once

#include "Check/Notifier.hpp"
#include "Platform/CommandRunner.hpp"

#include <chrono>
#include <filesystem>
#include <memory>

namespace velmora {

class AppleScriptNotifier final : public Notifier {
public:
    static constexpr std::string_view osascriptTool = "/usr/bin/osascript";
    static constexpr std::chrono::seconds timeout{30};

    AppleScriptNotifier(std::shared_ptr<CommandRunner> runner, std::filesystem::path osascript)
        : runner_(std::move(runner)), osascript_(std::move(osascript)) {}

    // display notification "<body>" with title "<title>" – both as AppleScript string literals, line
    // breaks and other control characters turned into blanks.
    static std::string script(const CheckNotification& notification);

    NotificationAuthorization authorization() override;
    bool requestAuthorization() override;
    std::expected<void, NotifierError> post(const CheckNotification& notification) override;

private:
    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path osascript_;
};

} // namespace velmora
