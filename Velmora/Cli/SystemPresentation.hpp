// How a system data report is shown: the German text for the terminal and the JSON form for scripts.
#pragma once

#include "Safety/KeepList.hpp"
#include "SystemData/SystemDataReport.hpp"

#include <nlohmann/json_fwd.hpp>

#include <iosfwd>

namespace velmora::cli {

nlohmann::json systemDataReportJSON(const SystemDataReport& report, const KeepList::IDs& kept);
void printSystemDataReport(std::ostream& out, const SystemDataReport& report, const KeepList::IDs& kept);

} // namespace velmora::cli
