// The automation an earlier version installed: a user launch agent that runs a cleanup.sh, together
// with that script and the log files its start file names. It is removed as one piece.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct LegacyItem {
    std::string label;
    std::filesystem::path plist;             // the agent's start file (below the root prefix)
    std::filesystem::path script;            // the cleanup.sh it runs (below the root prefix)
    std::vector<std::filesystem::path> logs; // StandardOutPath / StandardErrorPath, those that exist

    bool operator==(const LegacyItem&) const = default;
};

namespace LegacyText {
inline constexpr std::string_view heading = "Alte Automatik";
inline constexpr std::string_view none = "Keine alte Automatik gefunden.";
inline constexpr std::string_view explanation =
    "Ein monatlicher Aufräum-Agent einer früheren Version. Velmora 2 braucht ihn nicht mehr.";
} // namespace LegacyText

} // namespace velmora
