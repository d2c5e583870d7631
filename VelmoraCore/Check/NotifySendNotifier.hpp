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

// A click opens Velmora on the notification's tab where notify-send can report it (0.7.10 and later
// know --wait and --action): a small shell, detached so the check can end at once, waits for the answer
// and on the default action execs `velmora --tab RAW`. Older notify-send posts without that.
class NotifySendNotifier final : public Notifier {
public:
    static constexpr std::chrono::seconds timeout{30};
    static constexpr std::string_view shell = "/bin/sh";
    // Waits for the click in the background; its output goes nowhere, so the runner is done when the
    // shell has started it. Arguments: notify-send, velmora, the tab's raw name, notify-send's options.
    static constexpr std::string_view openerScript =
        "n=$1 v=$2 t=$3; shift 3\n"
        "( answer=$(\"$n\" --wait --action=default=Öffnen \"$@\") && [ \"$answer\" = default ] && "
        "exec \"$v\" --tab \"$t\" ) </dev/null >/dev/null 2>&1 &\n";

    // `notifySend` as the tool locator found it; nothing when it is not installed. `velmora` is what a
    // click starts; without it notifications are posted without the click.
    NotifySendNotifier(std::shared_ptr<CommandRunner> runner, std::optional<std::filesystem::path> notifySend,
                       std::optional<std::filesystem::path> velmora = std::nullopt)
        : runner_(std::move(runner)), notifySend_(std::move(notifySend)), velmora_(std::move(velmora)) {}

    // --app-name, the tab as the hint "x-velmora2-tab", then "--" and title and body (control
    // characters turned into blanks), so that a text starting with "-" is never read as an option.
    static std::vector<std::string> arguments(const CheckNotification& notification);
    // The shell's arguments for a notification whose click opens its tab. The check's identifier goes
    // along as the stack tag, so a newer check notification replaces an older one where the daemon can.
    static std::vector<std::string> openingArguments(const CheckNotification& notification,
                                                     const std::filesystem::path& notifySend,
                                                     const std::filesystem::path& velmora);

    NotificationAuthorization authorization() override;
    bool requestAuthorization() override;
    std::expected<void, NotifierError> post(const CheckNotification& notification) override;

private:
    bool reportsClicks();

    std::shared_ptr<CommandRunner> runner_;
    std::optional<std::filesystem::path> notifySend_;
    std::optional<std::filesystem::path> velmora_;
};

} // namespace velmora
