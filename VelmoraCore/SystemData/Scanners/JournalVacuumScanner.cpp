#include "SystemData/Scanners/JournalVacuumScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr int minAgeDays = 28;

constexpr cleanup::Texts texts{
    "systemdata.journalVacuum", "Alte Journal-Protokolle",
    "Archivierte Protokolldateien des systemd-Journals, die älter als 4 Wochen sind. Sie dienen nur der "
    "Fehlersuche; die Einträge der letzten 4 Wochen bleiben erhalten.",
    "Von Hand: im Terminal „sudo journalctl --vacuum-time=4weeks“ eingeben.", Risk::safe};

// Only archived files ("system@….journal", "….journal~") are ever vacuumed; the active ones stay.
bool isArchivedJournal(const std::string& name) {
    return name.find('@') != std::string::npos && (name.ends_with(".journal") || name.ends_with(".journal~"));
}

} // namespace

std::string JournalVacuumScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> JournalVacuumScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    if (!cleanup::isExecutable(context.underRoot("/usr/bin/journalctl")))
        return std::vector<Finding>{};
    const auto folder = context.underRoot("/var/log/journal");
    const auto cutoff = cleanup::daysBefore(context, minAgeDays);
    std::size_t files = 0;
    std::int64_t size = 0;
    for (const auto& file : cleanup::filesBelow(folder, stop)) {
        if (isArchivedJournal(file.path.filename().string()) && modificationTime(file.info) <= cutoff) {
            ++files;
            size += context.sizer ? context.sizer->size(file.path, stop) : 0;
        }
    }
    if (stop.stop_requested())
        return std::unexpected(ScanError{"Abgebrochen"});
    if (size <= 0)
        return std::vector<Finding>{};
    // One item: journalctl decides per file, the user cannot pick single ones.
    FindingItem journal;
    journal.id = folder.string();
    journal.url = folder;
    journal.name = cleanup::count(files, "archivierte Journal-Datei", "archivierte Journal-Dateien");
    journal.size = size;
    return cleanup::finding(texts, cleanup::command("/usr/bin/journalctl", {"--vacuum-time=4weeks"}),
                            {journal}, context, folder);
}

} // namespace velmora
