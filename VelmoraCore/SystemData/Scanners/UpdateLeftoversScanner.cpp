#include "SystemData/Scanners/UpdateLeftoversScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

// Review: a download may belong to an update that is not installed yet.
constexpr cleanup::Texts texts{
    "systemdata.updateLeftovers", "Reste von Softwareupdates",
    "Heruntergeladene Installationsdateien von macOS-Updates in /Library/Updates. Nach der Installation "
    "braucht sie niemand mehr.",
    "Velmora fasst diesen Systemordner nicht an. Installiere ausstehende Updates unter Systemeinstellungen › "
    "Allgemein › "
    "Softwareupdate – danach räumt macOS die Reste meist selbst auf.",
    Risk::review};

} // namespace

std::string UpdateLeftoversScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> UpdateLeftoversScanner::scan(const ScanContext& context,
                                                                            StopToken stop) {
    const auto folder = context.underRoot("/Library/Updates");
    return cleanup::removedOneByOne(texts, cleanup::entriesIn(folder), "-rf", folder, context, stop);
}

} // namespace velmora
