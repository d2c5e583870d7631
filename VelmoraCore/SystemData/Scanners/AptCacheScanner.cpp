#include "SystemData/Scanners/AptCacheScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr cleanup::Texts texts{
    "systemdata.aptCache", "APT-Paketcache",
    "Heruntergeladene .deb-Pakete, die APT nach der Installation aufbewahrt. Die installierten Programme "
    "brauchen sie nicht – bei Bedarf lädt APT sie erneut.",
    "Von Hand: im Terminal „sudo apt-get clean“ eingeben.", Risk::safe};

} // namespace

std::string AptCacheScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> AptCacheScanner::scan(const ScanContext& context,
                                                                     StopToken stop) {
    if (!cleanup::isExecutable(context.underRoot("/usr/bin/apt-get")))
        return std::vector<Finding>{};
    const auto folder = context.underRoot("/var/cache/apt/archives");
    // One item for the whole cache: "apt-get clean" takes all packages or none.
    FindingItem cache;
    cache.id = folder.string();
    cache.url = folder;
    std::size_t packages = 0;
    std::int64_t size = 0;
    for (const auto& entry : cleanup::entriesIn(folder)) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (S_ISREG(entry.info.st_mode) && entry.path.extension() == ".deb") {
            ++packages;
            size += context.sizer ? context.sizer->size(entry.path, stop) : 0;
        }
    }
    if (size <= 0)
        return std::vector<Finding>{};
    cache.name = cleanup::count(packages, "heruntergeladenes Paket", "heruntergeladene Pakete");
    cache.size = size;
    return cleanup::finding(texts, cleanup::command("/usr/bin/apt-get", {"clean"}), {cache}, context, folder);
}

} // namespace velmora
