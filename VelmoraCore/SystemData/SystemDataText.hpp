// The German sentences that explain a system data report, shared by the terminal and the window.
#pragma once

#include "SystemData/SystemDataReport.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace velmora::SystemDataText {

inline constexpr std::string_view lowerBoundNote =
    "Nicht vollständig gemessen (Zeitlimit oder kein Zugriff) – mindestens so groß.";

// "Speicher: 500 GB, davon belegt 380 GB, frei 120 GB"; nothing when the disk figures are unknown.
std::optional<std::string> storageLine(const SystemDataReport& report);

// Whether an area lies wholly or partly outside the disk the figures describe; nothing when it lies on it.
std::optional<std::string> placementNote(const MeasuredArea& area);

// What no area explains, with what that usually is; "unbekannt" when the disk figures are unknown.
std::string unassignedSentence(const SystemDataReport& report);

} // namespace velmora::SystemDataText
