// How often the automatic check runs, how the setting is stored ("off", "weekly", "monthly") and which
// launch agent belongs to each schedule.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class CheckSchedule { off, weekly, monthly };

inline constexpr std::array<CheckSchedule, 3> allCheckSchedules{CheckSchedule::off, CheckSchedule::weekly,
                                                                CheckSchedule::monthly};

// The settings key the schedule is stored under.
inline constexpr std::string_view checkScheduleKey = "checkSchedule";

constexpr std::string_view rawValue(CheckSchedule schedule) {
    switch (schedule) {
    case CheckSchedule::off:
        return "off";
    case CheckSchedule::weekly:
        return "weekly";
    case CheckSchedule::monthly:
        return "monthly";
    }
    return {};
}

constexpr std::string_view title(CheckSchedule schedule) {
    switch (schedule) {
    case CheckSchedule::off:
        return "Aus";
    case CheckSchedule::weekly:
        return "Wöchentlich (sonntags 10 Uhr)";
    case CheckSchedule::monthly:
        return "Monatlich (Monatserster 10 Uhr)";
    }
    return {};
}

constexpr std::optional<CheckSchedule> checkScheduleFromRawValue(std::string_view raw) {
    for (CheckSchedule schedule : allCheckSchedules)
        if (rawValue(schedule) == raw)
            return schedule;
    return std::nullopt;
}

// A stored value that is absent or names no schedule means off.
constexpr CheckSchedule checkScheduleFromSetting(const std::optional<std::string>& stored) {
    return stored ? checkScheduleFromRawValue(*stored).value_or(CheckSchedule::off) : CheckSchedule::off;
}

// The property-list name of the launch agent that runs a schedule; nothing for off.
constexpr std::optional<std::string_view> agentPlistName(CheckSchedule schedule) {
    switch (schedule) {
    case CheckSchedule::off:
        return std::nullopt;
    case CheckSchedule::weekly:
        return "de.tobrenlux.velmora2.check.weekly.plist";
    case CheckSchedule::monthly:
        return "de.tobrenlux.velmora2.check.monthly.plist";
    }
    return std::nullopt;
}

// The schedule an agent's property-list name stands for; nothing for names that are not ours.
constexpr std::optional<CheckSchedule> scheduleForAgent(std::string_view plistName) {
    for (CheckSchedule schedule : allCheckSchedules)
        if (agentPlistName(schedule) == plistName)
            return schedule;
    return std::nullopt;
}

// The settings section and its note.
inline constexpr std::string_view automaticCheckTitle = "Automatischer Check";
inline constexpr std::string_view automaticCheckNote =
    "Der Check meldet sich nur, wenn es sich lohnt – und löscht nie etwas.";

} // namespace velmora
