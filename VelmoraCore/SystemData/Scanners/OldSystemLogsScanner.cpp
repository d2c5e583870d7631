#include "SystemData/Scanners/OldSystemLogsScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr int minAgeDays = 30;

constexpr cleanup::Texts texts{
    "systemdata.oldSystemLogs", "Alte Systemprotokolle",
    "Protokolldateien in /Library/Logs, die älter als 30 Tage sind. Sie dienen nur der Fehlersuche und "
    "werden praktisch nie mehr gebraucht.",
    "Von Hand: im Terminal mit „sudo rm“ und dem Pfad der jeweiligen Datei.", Risk::safe};

} // namespace

std::string OldSystemLogsScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> OldSystemLogsScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    const auto folder = context.underRoot("/Library/Logs");
    const auto cutoff = cleanup::daysBefore(context, minAgeDays);
    // Files, not folders: a folder that still receives new logs must stay.
    auto files = cleanup::filesBelow(folder, stop);
    std::erase_if(files, [&](const cleanup::Entry& file) { return modificationTime(file.info) > cutoff; });
    return cleanup::removedOneByOne(texts, files, "-f", folder, context, stop);
}

} // namespace velmora
