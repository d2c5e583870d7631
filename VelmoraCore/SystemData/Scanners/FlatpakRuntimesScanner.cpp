#include "SystemData/Scanners/FlatpakRuntimesScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

// Review: which runtimes go is decided by flatpak only when it runs, so the user cannot see them first.
constexpr cleanup::Texts texts{
    "systemdata.unusedFlatpakRuntimes", "Ungenutzte Flatpak-Laufzeiten",
    "Flatpak entfernt dabei nur Laufzeiten und Erweiterungen der systemweiten Installation, die keine "
    "installierte App mehr braucht. Ob es solche gibt und wie viel Platz frei wird, ermittelt Flatpak erst "
    "beim Aufräumen – die Größe ist deshalb unbekannt.",
    "Von Hand: im Terminal „flatpak uninstall --unused“ eingeben.", Risk::review};

} // namespace

std::string FlatpakRuntimesScanner::id() const {
    return std::string(texts.id);
}

// What "unused" means is flatpak's own rule (related extensions, pinned runtimes, end-of-life
// replacements); guessing it from the installed refs would report space that might not come free. So
// the finding says only that runtimes are installed, and leaves its size unknown.
std::expected<std::vector<Finding>, ScanError> FlatpakRuntimesScanner::scan(const ScanContext& context,
                                                                            StopToken) {
    const auto folder = context.underRoot("/var/lib/flatpak/runtime");
    if (!cleanup::isExecutable(context.underRoot("/usr/bin/flatpak")) || cleanup::entriesIn(folder).empty())
        return std::vector<Finding>{};
    FindingItem runtimes;
    runtimes.id = folder.string();
    runtimes.url = folder;
    runtimes.name = "Laufzeiten der systemweiten Installation";
    return cleanup::finding(texts,
                            cleanup::command("/usr/bin/flatpak", {"uninstall", "--unused", "--system",
                                                                  "--assumeyes", "--noninteractive"}),
                            {runtimes}, context, folder);
}

} // namespace velmora
