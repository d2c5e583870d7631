// How checks are shown on the command line: one German line per alert, a snapshot's summary, and the
// date of a check in local time.
#pragma once

#include "Check/CheckSnapshot.hpp"

#include <chrono>
#include <iosfwd>
#include <string>

namespace velmora::cli {

std::string alertText(const CheckAlert& alert);
// "6 GB aufräumbar · 66,4 GB frei von 252 GB · 3 Funde"
std::string snapshotSummary(const CheckSnapshot& snapshot);
// "22.11.2026 10:00" in the machine's time zone.
std::string localDateTime(std::chrono::system_clock::time_point date);
// Each alert as "  • …", or "  keine" for none.
void printAlerts(std::ostream& out, const CheckSnapshot& snapshot);

} // namespace velmora::cli
