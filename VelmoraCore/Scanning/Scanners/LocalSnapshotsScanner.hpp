// Local Time Machine snapshots of the start disk, one item per snapshot. The system does not tell
// their size, so the finding has none; each dated snapshot is deleted by its date through the
// administrator script.
#pragma once

#include "Scanning/Scanner.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class LocalSnapshotsScanner : public Scanner {
public:
    std::string id() const override { return "system.localSnapshots"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // "2021-07-23-151043" of "com.apple.TimeMachine.2021-07-23-151043.local"; nothing for other names
    // (the system's own update snapshots, which tmutil cannot delete by date).
    static std::optional<std::string> dateText(std::string_view name);
    // That date as a moment of this machine's local time, as Time Machine names it; nothing for a
    // date that does not exist (month 13, 30 February, hour 25).
    static std::optional<std::chrono::system_clock::time_point> date(std::string_view dateText);
};

} // namespace velmora
