#include "Scanning/Scanners/TexLiveScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

#include <algorithm>

namespace velmora {

namespace {

constexpr cleanup::Texts texts{
    "toolchains.texLive", "Ältere TeX-Live-Versionen",
    "TeX Live legt jede Jahresversion neben die vorige und entfernt die alten nicht. Benutzt wird nur die "
    "neueste; ältere brauchst du nur, wenn ein Dokument ausdrücklich eine alte Version verlangt.",
    "Von Hand: im Terminal „sudo rm -rf /usr/local/texlive/<Jahr>“ für jede alte Version eingeben.",
    Risk::review};

bool isYear(const std::string& name) {
    return name.size() == 4 && std::ranges::all_of(name, [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::string TexLiveScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> TexLiveScanner::scan(const ScanContext& context,
                                                                    StopToken stop) {
    const auto folder = context.underRoot("/usr/local/texlive");
    std::vector<cleanup::Entry> years;
    for (auto& entry : cleanup::entriesIn(folder))
        if (S_ISDIR(entry.info.st_mode) && isYear(entry.path.filename().string()))
            years.push_back(std::move(entry));
    if (years.size() < 2)
        return std::vector<Finding>{};
    // Four-digit names sort by year; the newest is the one in use.
    std::ranges::sort(years, {}, [](const cleanup::Entry& e) { return e.path.filename().string(); });
    years.pop_back();
    return cleanup::removedOneByOne(texts, years, "-rf", folder, context, stop);
}

} // namespace velmora
