// ISO 8601 text for points in time (UTC, whole seconds), the form dates take in our JSON output.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

using TimePoint = std::chrono::system_clock::time_point;

std::string isoDateText(TimePoint time);
// Accepts "YYYY-MM-DDTHH:MM:SSZ" (fractional seconds are ignored); anything else yields nothing.
std::optional<TimePoint> parseIsoDate(std::string_view text);

} // namespace velmora
