#include "Check/AppleScriptNotifier.hpp"

#include "Findings/AppleScriptQuote.hpp"
#include "Platform/CommandFailureText.hpp"
#include "Support/Text.hpp"

#include <unistd.h>

namespace velmora {

std::string AppleScriptNotifier::script(const CheckNotification& notification) {
    return "display notification " + AppleScriptQuote::stringLiteral(Text::singleLine(notification.body)) +
           " with title " + AppleScriptQuote::stringLiteral(Text::singleLine(notification.title));
}

NotificationAuthorization AppleScriptNotifier::authorization() {
    return ::access(osascript_.c_str(), X_OK) == 0 ? NotificationAuthorization::authorized
                                                   : NotificationAuthorization::denied;
}

bool AppleScriptNotifier::requestAuthorization() {
    return authorization() == NotificationAuthorization::authorized;
}

std::expected<void, NotifierError> AppleScriptNotifier::post(const CheckNotification& notification) {
    const auto result = runner_->run(osascript_, {"-e", script(notification)}, timeout);
    if (!result || result->exitCode != 0)
        return std::unexpected(NotifierError{commandFailureText(osascript_, result)});
    return {};
}

} // namespace velmora
