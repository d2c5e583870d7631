#include "Cli/SystemPresentation.hpp"

#include "Cli/ScanPresentation.hpp"
#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"
#include "SystemData/SystemDataText.hpp"

#include <nlohmann/json.hpp>

#include <ostream>

namespace velmora::cli {

namespace {

nlohmann::json bytesOrNull(const std::optional<std::int64_t>& bytes) {
    return bytes ? nlohmann::json(*bytes) : nlohmann::json(nullptr);
}

nlohmann::json volumesJSON(const std::vector<APFSVolume>& volumes) {
    auto list = nlohmann::json::array();
    for (const auto& volume : volumes)
        list.push_back(
            {{"name", volume.name}, {"role", rawValue(volume.role)}, {"consumed", volume.consumed}});
    return list;
}

std::string sizeText(const MeasuredArea& area) {
    if (!area.size)
        return "unbekannt";
    return (area.lowerBound ? "≥ " : "") + ByteFormat::fileSize(*area.size);
}

void printVolumes(std::ostream& out, const std::vector<APFSVolume>& volumes) {
    for (const auto& volume : volumes)
        out << "  " << Text::printable(volume.name.empty() ? std::string("(ohne Namen)") : volume.name)
            << " – " << title(volume.role) << ", " << ByteFormat::fileSize(volume.consumed) << "\n";
}

} // namespace

nlohmann::json systemDataReportJSON(const SystemDataReport& report, const KeepList::IDs& kept) {
    auto areas = nlohmann::json::array();
    for (const auto& area : report.areas) {
        auto locations = nlohmann::json::array();
        for (const auto& location : area.area.locations)
            locations.push_back(location.string());
        areas.push_back({{"id", area.area.id},
                         {"title", area.area.title},
                         {"verdict", area.area.verdict},
                         {"size", bytesOrNull(area.size)},
                         {"lowerBound", area.lowerBound},
                         {"locations", locations}});
    }
    auto findings = nlohmann::json::array();
    for (const auto& finding : report.findings)
        findings.push_back(findingJSON(finding, kept.contains(finding.id)));
    auto notices = nlohmann::json::array();
    for (const auto& notice : report.notices)
        notices.push_back({{"id", notice.id}, {"text", notice.text}});
    for (const auto& failure : report.failures)
        notices.push_back({{"id", failure.scannerID}, {"text", failure.message}});
    return {{"containerSize", bytesOrNull(report.containerSize)},
            {"containerFree", bytesOrNull(report.containerFree)},
            {"volumes", volumesJSON(report.volumes)},
            {"simulatorVolumes", volumesJSON(report.simulatorVolumes)},
            {"areas", areas},
            {"unassigned", bytesOrNull(report.unassigned)},
            {"findings", findings},
            {"notices", notices}};
}

void printSystemDataReport(std::ostream& out, const SystemDataReport& report, const KeepList::IDs& kept) {
    if (const auto storage = SystemDataText::storageLine(report))
        out << *storage << "\n";
    if (!report.volumes.empty()) {
        out << "\nVolumes\n";
        printVolumes(out, report.volumes);
    }
    if (!report.simulatorVolumes.empty()) {
        out << "\nSimulator-Volumes (eigene Container)\n";
        printVolumes(out, report.simulatorVolumes);
    }
    out << "\nBereiche, nach Größe\n";
    for (const auto& area : report.areas) {
        out << "  " << Text::printable(area.area.title) << " – " << sizeText(area) << "  ["
            << Text::printable(area.area.id) << "]\n";
        out << "    " << Text::printable(area.area.verdict) << "\n";
        if (!area.detail.empty())
            out << "    " << Text::printable(area.detail) << "\n";
        if (area.lowerBound)
            out << "    " << SystemDataText::lowerBoundNote << "\n";
        if (const auto note = SystemDataText::placementNote(area))
            out << "    " << *note << "\n";
    }
    out << "\n" << SystemDataText::unassignedSentence(report) << "\n";

    out << "\nAufräumen\n";
    if (report.findings.empty())
        out << "  Nichts, was sich gefahrlos entfernen ließe.\n";
    for (const auto& finding : report.findings) {
        const std::string status = kept.contains(finding.id) ? "behalten" : std::string(label(finding.risk));
        out << "  " << Text::printable(finding.title) << " – "
            << (finding.size ? ByteFormat::fileSize(*finding.size) : std::string("Größe unbekannt")) << ", "
            << status << ", " << entryCount(finding.items.size()) << "  ["
            << Text::printable(finding.id.text()) << "]\n";
        if (!finding.summary.empty())
            out << "    " << Text::printable(finding.summary) << "\n";
    }
    if (!report.findings.empty())
        out << "Freigebbar: "
            << ByteFormat::fileSize(reclaimableBytes(ScanReport{report.findings, {}, {}, {}}, kept))
            << " – entfernen mit „velmora clean KENNUNG“.\n";
    if (!report.notices.empty() || !report.failures.empty()) {
        out << "\nHinweise\n";
        for (const auto& notice : report.notices)
            out << "  " << Text::printable(notice.text) << "\n";
        for (const auto& failure : report.failures)
            out << "  " << Text::printable(failure.scannerID + ": " + failure.message) << "\n";
    }
}

} // namespace velmora::cli
