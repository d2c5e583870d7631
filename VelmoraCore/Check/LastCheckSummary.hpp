// The one-line summary of the newest check, as the settings show it under the schedule.
#pragma once

#include "Check/CheckSnapshot.hpp"

#include <chrono>
#include <optional>
#include <string>

namespace velmora {

// "Letzter Check " + how long ago (German, named: "vor 3 Tagen", "gestern") + ": " + the notification
// body the snapshot calls for, or its cleanable total + " aufräumbar" when it raised nothing worth
// telling.
std::string lastCheckSummary(const CheckSnapshot& newest, std::chrono::system_clock::time_point now);

} // namespace velmora
