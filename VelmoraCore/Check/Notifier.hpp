// Posts the one notification of an automatic check. Live: AppleScriptNotifier (macOS layout) and
// NotifySendNotifier (Linux layout).
#pragma once

#include "Check/CheckNotificationText.hpp"
#include "Check/NotificationAuthorization.hpp"

#include <expected>
#include <string>
#include <string_view>

namespace velmora {

// Where a platform lets a notification carry them: the check's identifier (a newer check notification
// replaces an older one) and the key under which the tab to open travels.
inline constexpr std::string_view checkNotificationID = "velmora2.check";
inline constexpr std::string_view tabUserInfoKey = "tab";

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
