// How a scan report is shown: the German text report grouped by tab and category, and the JSON form
// for scripts.
#pragma once

#include "Safety/KeepList.hpp"
#include "Scanning/ScanReport.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <iosfwd>

namespace velmora::cli {

// The bytes that could be freed: known sizes of every finding except hints and kept ones.
std::int64_t reclaimableBytes(const ScanReport& report, const KeepList::IDs& kept);

nlohmann::json findingJSON(const Finding& finding, bool kept);
nlohmann::json scanReportJSON(const ScanReport& report, const KeepList::IDs& kept);

void printScanReport(std::ostream& out, const ScanReport& report, const KeepList::IDs& kept);

// "1 Eintrag", "3 Einträge".
std::string entryCount(std::size_t count);

} // namespace velmora::cli
