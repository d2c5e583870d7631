// A notifier for tests: a fixed authorization, a record of what was posted, and a switch to make
// posting fail.
#pragma once

#include "Check/Notifier.hpp"

#include <vector>

namespace velmora::testing {

class FakeNotifier final : public Notifier {
public:
    explicit FakeNotifier(NotificationAuthorization authorization) : authorization_(authorization) {}

    NotificationAuthorization authorization() override {
        ++authorizationQueries;
        return authorization_;
    }
    bool requestAuthorization() override { return authorization_ == NotificationAuthorization::authorized; }
    std::expected<void, NotifierError> post(const CheckNotification& notification) override {
        posted.push_back(notification);
        if (failPosting)
            return std::unexpected(NotifierError{"Benachrichtigungsdienst antwortet nicht"});
        return {};
    }

    std::vector<CheckNotification> posted;
    int authorizationQueries = 0;
    bool failPosting = false;

private:
    NotificationAuthorization authorization_;
};

} // namespace velmora::testing
