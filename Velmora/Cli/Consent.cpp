#include "Cli/Consent.hpp"

#include "Cli/CliApp.hpp"

#include <istream>
#include <ostream>
#include <string>

namespace velmora::cli {

Consent askConsent(bool yes, bool dryRun, bool interactive, std::istream& in, std::ostream& out,
                   std::ostream& err, std::string_view done) {
    if (dryRun || yes)
        return Consent::given;
    if (!interactive) {
        err << "velmora: Ohne Terminal wird nur mit --yes " << done << ". Es wurde nichts " << done << ".\n";
        return Consent::refused;
    }
    err << "Fortfahren? [j/N] " << std::flush;
    std::string answer;
    if (std::getline(in, answer) && (answer == "j" || answer == "J" || answer == "ja" || answer == "Ja"))
        return Consent::given;
    out << "Abgebrochen – es wurde nichts " << done << ".\n";
    return Consent::declined;
}

std::optional<int> exitWithoutConsent(Consent consent) {
    switch (consent) {
    case Consent::given:
        return std::nullopt;
    case Consent::declined:
        return exitOK;
    case Consent::refused:
        return exitUsage;
    }
    return exitUsage;
}

} // namespace velmora::cli
