// Notifications of the automatic check on the Linux layout: `notify-send`, which hands them to the
// desktop's notification daemon. Without notify-send they count as switched off.
#pragma once

#include "Check/Notifier.hpp"
#include "Platform/CommandRunner.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace velmora {

class NotifySendNotifier final : public Notifier {
public:
    static constexpr std::chrono::seconds timeout{30};

    // `notifySend` as the tool locator found it; nothing when it is not installed.
    NotifySendNotifier(std::shared_ptr<CommandRunner> runner, std::optional<std::filesystem::path> notifySend)
        : runner_(std::move(runner)), notifySend_(std::move(notifySend)) {}

    // --app-name, the tab as the hint "x-velmora2-tab", then "--" and title and body (control
    // characters turned into blanks), so that a text starting with "-" is never read as an option.
    static std::vector<std::string> arguments(const CheckNotification& notification);

    NotificationAuthorization authorization() override;
    bool requestAuthorization() override;
    std::expected<void, NotifierError> post(const CheckNotification& notification) override;

private:
    std::shared_ptr<CommandRunner> runner_;
    std::optional<std::filesystem::path> notifySend_;
};

} // namespace velmora
