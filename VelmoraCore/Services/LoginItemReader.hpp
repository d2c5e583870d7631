// Reads the login items of the current user from the system's background-task database, through the
// text dump of `sfltool dumpbtm`. The items are listed read-only; they are never orphaned or removed.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Services/LaunchItem.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

enum class LoginItemReadError {
    failed,   // sfltool could not be started or ended with an error (it needs rights it may not have)
    timedOut, // it ran past its time limit
    cancelled,
};

// The German sentence for the services list when the login items are missing.
std::string loginItemReadErrorText(LoginItemReadError error);

class LoginItemReader {
public:
    static constexpr std::string_view sfltool = "/usr/bin/sfltool";
    static constexpr std::chrono::seconds timeout{20};

    // One record of the dump: its "name: value" lines. Empty and "(null)" values are left out.
    struct Entry {
        std::map<std::string, std::string> fields;

        std::optional<std::string> value(const std::string& field) const;
        bool operator==(const Entry&) const = default;
    };

    LoginItemReader(std::shared_ptr<CommandRunner> runner, std::uint32_t uid)
        : runner_(std::move(runner)), uid_(uid) {}

    // Runs sfltool and returns the user's login items in the order of the dump, one per label.
    std::expected<std::vector<LaunchItem>, LoginItemReadError> read(StopToken stop = {}) const;

    // The records of the section "Records for UID <uid>"; none when the dump has no such section.
    static std::vector<Entry> parse(std::string_view dump, std::uint32_t uid);

    // The records whose "Type" starts with "login item", as items of scope `loginItem`. The label is
    // the bundle identifier, else the record's "Identifier", else its "Name" (records with none of
    // them are left out); the app is named by "Bundle Identifier", else "Parent Identifier". Records
    // with the same label are one item, switched on when any of them is.
    static std::vector<LaunchItem> loginItems(const std::vector<Entry>& entries);

private:
    std::shared_ptr<CommandRunner> runner_;
    std::uint32_t uid_;
};

} // namespace velmora
