#include "SystemData/Scanners/UnifiedLogScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

// Review: erasing takes every earlier entry with it, also those that would explain a problem.
constexpr cleanup::Texts texts{
    "systemdata.eraseUnifiedLog", "Einheitliches Systemprotokoll",
    "Das Protokoll, in das macOS und alle Programme laufend schreiben (zu sehen in der App „Konsole“). "
    "Löschen schafft Platz, doch damit sind auch alle bisherigen Einträge für die Fehlersuche weg. macOS "
    "beginnt sofort ein neues.",
    "Von Hand: im Terminal „sudo log erase --all“ eingeben.", Risk::review};

} // namespace

std::string UnifiedLogScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> UnifiedLogScanner::scan(const ScanContext& context,
                                                                       StopToken stop) {
    const auto diagnostics = context.underRoot("/private/var/db/diagnostics");
    const auto uuidtext = context.underRoot("/private/var/db/uuidtext");
    const auto size = [&](const std::filesystem::path& folder) {
        return context.sizer ? context.sizer->size(folder, stop) : 0;
    };
    // One item: the log is erased as a whole, never in parts.
    FindingItem log;
    log.id = diagnostics.string();
    log.url = diagnostics;
    log.name = "diagnostics und uuidtext";
    log.size = size(diagnostics) + size(uuidtext);
    if (stop.stop_requested())
        return std::unexpected(ScanError{"Abgebrochen"});
    if (*log.size <= 0)
        return std::vector<Finding>{};
    return cleanup::finding(texts, cleanup::command("/usr/bin/log", {"erase", "--all"}), {log}, context,
                            diagnostics);
}

} // namespace velmora
