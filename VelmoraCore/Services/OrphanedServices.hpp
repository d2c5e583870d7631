// The finding "services.orphaned": orphaned launch agents and daemons that may be removed, as the
// removal of services acts on them. Per-user agents form one finding (stopped, then their start file
// goes to the Trash); agents for all users and daemons form the administrator variant, whose steps
// stop each service in the system domain and, only if that worked, delete its start file.
#pragma once

#include "Findings/Finding.hpp"
#include "Services/LaunchItem.hpp"
#include "Services/LaunchItemScanner.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::OrphanedServices {

inline constexpr std::string_view scannerID = "services.orphaned";
// The key of the administrator variant; the per-user finding has the empty key.
inline constexpr std::string_view adminKey = "admin";

inline constexpr std::string_view title = "Verwaiste Hintergrunddienste";
inline constexpr std::string_view summary = "Die zugehörige App wurde gelöscht. Der Dienst wird gestoppt und "
                                            "seine Startdatei in den Papierkorb gelegt.";
inline constexpr std::string_view adminTitle = "Verwaiste Hintergrunddienste (Admin)";
inline constexpr std::string_view adminSummary = "Die zugehörige App wurde gelöscht. Der Dienst wird "
                                                 "gestoppt und seine Startdatei mit deinem Admin-Passwort "
                                                 "gelöscht – nicht über den Papierkorb.";

FindingID userFindingID();
FindingID adminFindingID();

// "/bin/launchctl bootout gui/<uid>/<label>": how a per-user agent is stopped.
std::string userBootoutCommand(std::uint32_t uid, std::string_view label);

// The two findings, each only when it has items: the user's own removable orphans (method Trash; each
// item's url is the start file) and the removable orphans for all users and of the system (method
// admin: per item "/bin/launchctl bootout system/<label>", then "/bin/rm -f <start file>" run only if
// the stop succeeded, both carrying the item's id). Items keep the order of `items`; an item's id is
// the launch item's id, its name the display name and its detail the verdict sentence.
std::vector<Finding> findings(const LaunchItemScanner& scanner, const std::vector<LaunchItem>& items);

// "Keine verwaisten Hintergrunddienste", "1 verwaister Hintergrunddienst", "3 verwaiste Hintergrunddienste".
std::string countText(std::size_t count);

} // namespace velmora::OrphanedServices
