#include "SystemData/Scanners/LibraryCachesScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

// Review, not safe: these caches serve every user and the system's own services, some are in use
// while the Mac runs, and removing them costs an administrator password – the user should choose.
constexpr cleanup::Texts texts{
    "systemdata.clearLibraryCaches", "Systemweite Caches",
    "Zwischenspeicher in /Library/Caches, die Programme und Dienste für alle Benutzer anlegen. Sie werden "
    "bei Bedarf neu erstellt; manche Programme starten danach einmal langsamer.",
    "Von Hand: im Terminal mit „sudo rm -rf“ und dem Pfad des jeweiligen Ordners.", Risk::review};

} // namespace

std::string LibraryCachesScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> LibraryCachesScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    const auto folder = context.underRoot("/Library/Caches");
    return cleanup::removedOneByOne(texts, cleanup::entriesIn(folder), "-rf", folder, context, stop);
}

} // namespace velmora
