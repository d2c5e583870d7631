#include "Check/NotifySendNotifier.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Support/Text.hpp"

namespace velmora {

std::vector<std::string> NotifySendNotifier::arguments(const CheckNotification& notification) {
    return {"--app-name=Velmora 2", "--hint=string:x-velmora2-tab:" + std::string(rawValue(notification.tab)),
            "--", Text::singleLine(notification.title), Text::singleLine(notification.body)};
}

std::vector<std::string> NotifySendNotifier::openingArguments(const CheckNotification& notification,
                                                              const std::filesystem::path& notifySend,
                                                              const std::filesystem::path& velmora) {
    std::vector<std::string> shellArguments{"-c",
                                            std::string(openerScript),
                                            "velmora-notification",
                                            notifySend.string(),
                                            velmora.string(),
                                            std::string(rawValue(notification.tab)),
                                            "--hint=string:x-dunst-stack-tag:" +
                                                std::string(checkNotificationID)};
    for (auto& argument : arguments(notification))
        shellArguments.push_back(std::move(argument));
    return shellArguments;
}

NotificationAuthorization NotifySendNotifier::authorization() {
    return notifySend_ ? NotificationAuthorization::authorized : NotificationAuthorization::denied;
}

bool NotifySendNotifier::requestAuthorization() {
    return authorization() == NotificationAuthorization::authorized;
}

bool NotifySendNotifier::reportsClicks() {
    const auto help = runner_->run(*notifySend_, {"--help"}, std::chrono::seconds(5));
    return help && help->exitCode == 0 && help->standardOutput.find("--wait") != std::string::npos &&
           help->standardOutput.find("--action") != std::string::npos;
}

std::expected<void, NotifierError> NotifySendNotifier::post(const CheckNotification& notification) {
    if (!notifySend_)
        return std::unexpected(NotifierError{"notify-send nicht gefunden"});
    const bool clickable = velmora_ && reportsClicks();
    const std::filesystem::path program = clickable ? std::filesystem::path(shell) : *notifySend_;
    const auto result = runner_->run(program,
                                     clickable ? openingArguments(notification, *notifySend_, *velmora_)
                                               : arguments(notification),
                                     timeout);
    if (!result || result->exitCode != 0)
        return std::unexpected(NotifierError{commandFailureText(program, result)});
    return {};
}

} // namespace velmora
