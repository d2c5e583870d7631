#include "Check/BackgroundCheck.hpp"

#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

namespace velmora::BackgroundCheck {

std::expected<Outcome, CheckHistoryError> run(const CheckDependencies& dependencies, StopToken stop) {
    const CheckRunner runner(dependencies.engine, dependencies.keepList, dependencies.history,
                             dependencies.measureSystemRoots, dependencies.diskSpace,
                             dependencies.orphanedServices);
    auto snapshot = runner.run(dependencies.makeContext(), stop);
    if (!snapshot) {
        Log::error("check", "Verlauf nicht geschrieben: " + snapshot.error().code.message());
        return std::unexpected(snapshot.error());
    }
    Outcome outcome{std::move(*snapshot), std::nullopt, false, false};
    outcome.notification = CheckNotificationText::make(outcome.snapshot);
    outcome.notificationsAllowed = dependencies.notifier && dependencies.notifier->authorization() ==
                                                                NotificationAuthorization::authorized;
    if (outcome.notification && outcome.notificationsAllowed) {
        const auto posted = dependencies.notifier->post(*outcome.notification);
        outcome.posted = posted.has_value();
        if (!posted)
            Log::error("check", "Mitteilung nicht gezeigt: " + posted.error().detail);
    }
    return outcome;
}

} // namespace velmora::BackgroundCheck
