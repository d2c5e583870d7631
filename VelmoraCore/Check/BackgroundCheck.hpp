// The headless automatic check that the launch agent starts: one check, at most one notification,
// nothing deleted.
#pragma once

#include "Check/CheckNotificationText.hpp"
#include "Check/CheckRunner.hpp"
#include "Check/Notifier.hpp"
#include "Support/StopToken.hpp"

#include <expected>
#include <functional>
#include <memory>
#include <optional>

namespace velmora {

// What the headless run needs, in the order the app's dependency bundle lists them.
struct CheckDependencies {
    std::shared_ptr<const ScanEngine> engine;
    std::shared_ptr<KeepList> keepList;
    std::shared_ptr<CheckHistory> history;
    CheckRunner::MeasureSystemRoots measureSystemRoots;
    std::shared_ptr<const DiskSpaceProbe> diskSpace;
    std::function<ScanContext()> makeContext;
    std::shared_ptr<Notifier> notifier;
    CheckRunner::OrphanedServices orphanedServices;
};

namespace BackgroundCheck {

struct Outcome {
    CheckSnapshot snapshot;
    std::optional<CheckNotification> notification; // the one the snapshot called for, posted or not
    bool notificationsAllowed = false;
    bool posted = false; // the notifier took the notification
};

// Scans, stores the snapshot in the history and posts its notification when there is one and
// notifications are allowed. Fails only when the history could not be written; then nothing is posted.
// A failed post is logged and leaves `posted` false: the snapshot is stored either way.
std::expected<Outcome, CheckHistoryError> run(const CheckDependencies& dependencies, StopToken stop = {});

} // namespace BackgroundCheck

} // namespace velmora
