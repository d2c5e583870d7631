// How long ago something happened, as a German phrase ("vor 3 Tagen", "gestern", "letzte Woche").
#pragma once

#include <chrono>
#include <string>

namespace velmora {

// The largest unit that fits (years of 365 days, months of 30 days, weeks, days, hours, minutes,
// seconds), in ICU's long named style for "de_DE". One second or less (the future included) reads as
// one second ago.
std::string germanTimeAgo(std::chrono::system_clock::duration elapsed);

} // namespace velmora
