#include "Cli/ScanPresentation.hpp"

#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>

namespace velmora::cli {

std::int64_t reclaimableBytes(const ScanReport& report, const KeepList::IDs& kept) {
    std::int64_t total = 0;
    for (const auto& finding : report.findings)
        if (finding.risk != Risk::hintOnly && !kept.contains(finding.id))
            total += finding.size.value_or(0);
    return total;
}

nlohmann::json findingJSON(const Finding& finding, bool kept) {
    nlohmann::json j = nlohmann::json::object();
    j["id"] = finding.id;
    j["category"] = rawValue(finding.category);
    j["tab"] = rawValue(tab(finding.category));
    j["title"] = finding.title;
    j["summary"] = finding.summary;
    j["risk"] = rawValue(finding.risk);
    j["method"] = finding.method;
    j["size"] = finding.size ? nlohmann::json(*finding.size) : nlohmann::json(nullptr);
    j["items"] = finding.items;
    j["itemsSelectable"] = finding.itemsSelectable;
    j["blockingApps"] = finding.blockingApps;
    j["watchedApps"] = finding.watchedApps;
    j["keepSuggested"] = finding.keepSuggested;
    j["needsFullDiskAccess"] = finding.needsFullDiskAccess;
    if (finding.commandPreview)
        j["commandPreview"] = *finding.commandPreview;
    j["kept"] = kept;
    return j;
}

nlohmann::json scanReportJSON(const ScanReport& report, const KeepList::IDs& kept) {
    nlohmann::json findings = nlohmann::json::array();
    for (const auto& finding : report.findings)
        findings.push_back(findingJSON(finding, kept.contains(finding.id)));
    nlohmann::json failures = nlohmann::json::array();
    for (const auto& failure : report.failures)
        failures.push_back({{"scannerID", failure.scannerID}, {"message", failure.message}});
    nlohmann::json bigChunks = nlohmann::json::array();
    for (const auto& chunk : report.bigChunks)
        bigChunks.push_back({{"path", chunk.location.string()}, {"bytes", chunk.bytes}});
    nlohmann::json photos = nullptr;
    if (report.photos)
        photos = {{"library", report.photos->library.string()},
                  {"bytes",
                   report.photos->bytes ? nlohmann::json(*report.photos->bytes) : nlohmann::json(nullptr)}};
    return {{"findings", findings},
            {"failures", failures},
            {"totalBytes", reclaimableBytes(report, kept)},
            {"bigChunks", bigChunks},
            {"photos", photos}};
}

std::string entryCount(std::size_t count) {
    return count == 1 ? "1 Eintrag" : fmt::format("{} Einträge", count);
}

namespace {

// Columns are counted in characters, not bytes, so that umlauts do not shift them.
std::size_t displayWidth(std::string_view utf8) {
    return static_cast<std::size_t>(std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, std::size_t width, bool right = false) {
    const auto w = displayWidth(text);
    const std::string fill(w < width ? width - w : 0, ' ');
    return right ? fill + text : text + fill;
}

} // namespace

void printScanReport(std::ostream& out, const ScanReport& report, const KeepList::IDs& kept) {
    std::size_t titleWidth = 0;
    for (const auto& finding : report.findings)
        titleWidth = std::max(titleWidth, displayWidth(Text::printable(finding.title)));
    if (report.findings.empty())
        out << "Nichts gefunden, was sich entfernen ließe.\n";
    for (AppTab t : allAppTabs) {
        bool tabShown = false;
        for (Category c : allCategories) {
            if (tab(c) != t)
                continue;
            bool categoryShown = false;
            for (const auto& finding : report.findings) {
                if (finding.category != c)
                    continue;
                if (!tabShown) {
                    out << "\n" << title(t) << "\n";
                    tabShown = true;
                }
                if (!categoryShown) {
                    out << "  " << title(c) << "\n";
                    categoryShown = true;
                }
                const auto size =
                    finding.size ? ByteFormat::fileSize(*finding.size) : std::string("unbekannt");
                std::string status(label(finding.risk));
                if (kept.contains(finding.id))
                    status = "behalten";
                out << "    " << padded(Text::printable(finding.title), titleWidth) << "  "
                    << padded(size, 10, true) << "  " << padded(status, 11) << "  "
                    << padded(entryCount(finding.items.size()), 12) << "  ["
                    << Text::printable(finding.id.text()) << "]\n";
                if (finding.needsFullDiskAccess)
                    out << "      Braucht „Festplattenvollzugriff“, um alles zu sehen.\n";
            }
        }
    }
    if (!report.bigChunks.empty()) {
        out << "\nGroße Brocken (von keiner Regel erklärt, nur zum Ansehen):\n";
        for (const auto& chunk : report.bigChunks)
            out << "  " << padded(ByteFormat::fileSize(chunk.bytes), 10, true) << "  "
                << Text::printable(chunk.location.string()) << "\n";
    }
    if (report.photos)
        out << "\nFotomediathek: "
            << (report.photos->bytes ? ByteFormat::fileSize(*report.photos->bytes)
                                     : std::string("Größe unbekannt"))
            << "  " << Text::printable(report.photos->library.string()) << "\n";
    out << "\nFreigebbar: " << ByteFormat::fileSize(reclaimableBytes(report, kept)) << "\n";
    if (!report.failures.empty()) {
        out << "\nNicht geprüft:\n";
        for (const auto& failure : report.failures)
            out << "  " << Text::printable(failure.scannerID + ": " + failure.message) << "\n";
    }
}

} // namespace velmora::cli
