// Posts the one notification of an automatic check. Live: AppleScriptNotifier (macOS layout) and
// NotifySendNotifier (Linux layout).
#pragma once

#include "Check/CheckNotificationText.hpp"
#include "Check/NotificationAuthorization.hpp"

#include <expected>
#include <string>

namespace velmora {

struct NotifierError {
    std::string detail; // what failed, in the system's words

    bool operator==(const NotifierError&) const = default;
};

class Notifier {
public:
    virtual ~Notifier() = default;

    virtual NotificationAuthorization authorization() = 0;
    // Asks the user where the platform can; true when notifications are allowed afterwards.
    virtual bool requestAuthorization() = 0;
    // Delivers at once. Callers post only when `authorization()` is `authorized`.
    virtual std::expected<void, NotifierError> post(const CheckNotification& notification) = 0;
};

} // namespace velmora
