// The one rule for commands that remove something: on a terminal the user is asked, without one
// only --yes lets the removal go ahead.
#pragma once

#include <iosfwd>
#include <optional>
#include <string_view>

namespace velmora::cli {

enum class Consent {
    given,    // go ahead
    declined, // the user said no: nothing removed, not an error
    refused,  // no terminal and no --yes: wrong usage
};

// A dry run needs no consent. Prints the German question, or the line saying why nothing was removed.
Consent askConsent(bool yes, bool dryRun, bool interactive, std::istream& in, std::ostream& out,
                   std::ostream& err, std::string_view done = "entfernt");

// The exit status a command ends with when consent was not given (declined: 0, refused: 2); nothing
// when it may go ahead.
std::optional<int> exitWithoutConsent(Consent consent);

} // namespace velmora::cli
