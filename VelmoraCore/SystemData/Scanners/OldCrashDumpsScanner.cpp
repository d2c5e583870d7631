#include "SystemData/Scanners/OldCrashDumpsScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr int minAgeDays = 3;

constexpr cleanup::Texts texts{
    "systemdata.oldCrashDumps", "Alte Absturzabbilder",
    "Speicherabbilder abgestürzter Programme, die älter als 3 Tage sind. Sie dienen nur der Fehlersuche – "
    "wer einen Absturz nicht untersuchen will, braucht sie nicht.",
    "Von Hand: im Terminal mit „sudo rm -f“ und dem Pfad der jeweiligen Datei.", Risk::safe};

} // namespace

std::string OldCrashDumpsScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> OldCrashDumpsScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    const auto folder = context.underRoot("/var/lib/systemd/coredump");
    const auto cutoff = cleanup::daysBefore(context, minAgeDays);
    // Only the files systemd-coredump writes ("core.…"); the administrator allow-list takes no other.
    auto dumps = cleanup::entriesIn(folder);
    std::erase_if(dumps, [&](const cleanup::Entry& entry) {
        const auto name = entry.path.filename().string();
        return !S_ISREG(entry.info.st_mode) || !name.starts_with("core.") || name.size() == 5 ||
               modificationTime(entry.info) > cutoff;
    });
    return cleanup::removedOneByOne(texts, dumps, "-f", folder, context, stop);
}

} // namespace velmora
