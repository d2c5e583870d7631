#include "Check/NotifySendNotifier.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Support/Text.hpp"

namespace velmora {

std::vector<std::string> NotifySendNotifier::arguments(const CheckNotification& notification) {
    return {"--app-name=Velmora 2", "--hint=string:x-velmora2-tab:" + std::string(rawValue(notification.tab)),
            "--", Text::singleLine(notification.title), Text::singleLine(notification.body)};
}

NotificationAuthorization NotifySendNotifier::authorization() {
    return notifySend_ ? NotificationAuthorization::authorized : NotificationAuthorization::denied;
}

bool NotifySendNotifier::requestAuthorization() {
    return authorization() == NotificationAuthorization::authorized;
}

std::expected<void, NotifierError> NotifySendNotifier::post(const CheckNotification& notification) {
    if (!notifySend_)
        return std::unexpected(NotifierError{"notify-send nicht gefunden"});
    const auto result = runner_->run(*notifySend_, arguments(notification), timeout);
    if (!result || result->exitCode != 0)
        return std::unexpected(NotifierError{commandFailureText(*notifySend_, result)});
    return {};
}

} // namespace velmora
