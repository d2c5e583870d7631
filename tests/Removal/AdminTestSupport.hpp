// Shared pieces of the admin removal tests: readable outcomes in failure messages, and steps built
// briefly.
#pragma once

#include "Findings/AdminStep.hpp"
#include "Removal/ItemOutcome.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace velmora {

// Readable values in failure messages.
inline void PrintTo(const ItemOutcome& outcome, std::ostream* out) {
    *out << outcome.text();
}
inline void PrintTo(const ItemResult& result, std::ostream* out) {
    *out << result.findingID.text() << " / " << result.itemID << ": " << result.outcome.text();
}
} // namespace velmora

namespace velmora::test {

inline AdminStep step(std::string executable, std::vector<std::string> arguments,
                      std::optional<std::string> itemID = std::nullopt,
                      bool runsIfPreviousSucceeded = false) {
    return AdminStep{std::move(executable), std::move(arguments), std::move(itemID), runsIfPreviousSucceeded};
}

// A step that only ends with the given exit status, run by a real shell.
inline AdminStep exitStep(int status, bool runsIfPreviousSucceeded = false) {
    return step("/bin/sh", {"-c", "exit " + std::to_string(status)}, std::nullopt, runsIfPreviousSucceeded);
}

inline AdminStep bootout(const std::string& label, std::optional<std::string> itemID = std::nullopt) {
    return step("/bin/launchctl", {"bootout", "system/" + label}, std::move(itemID));
}

} // namespace velmora::test
