#include "SystemData/SystemDataText.hpp"

#include "Findings/ByteFormat.hpp"

namespace velmora::SystemDataText {

std::optional<std::string> storageLine(const SystemDataReport& report) {
    if (!report.containerSize || !report.containerFree)
        return std::nullopt;
    return "Speicher: " + ByteFormat::fileSize(*report.containerSize) + ", davon belegt " +
           ByteFormat::fileSize(report.containerUsed.value_or(0)) + ", frei " +
           ByteFormat::fileSize(*report.containerFree);
}

std::optional<std::string> placementNote(const MeasuredArea& area) {
    if (!area.size || area.bytesOnContainer >= *area.size || area.area.kind == AreaKind::unmeasurable)
        return std::nullopt;
    return area.bytesOnContainer == 0 ? "Liegt auf einem anderen Volume oder Dateisystem."
                                      : "Liegt zum Teil auf einem anderen Volume oder Dateisystem.";
}

std::string unassignedSentence(const SystemDataReport& report) {
    if (!report.unassigned)
        return "Nicht zugeordnet: unbekannt.";
    return "Nicht zugeordnet: " + std::string(report.unassignedUpperBound ? "höchstens " : "") +
           ByteFormat::fileSize(*report.unassigned) +
           " – belegt, aber von keinem Bereich erklärt (Verwaltungsdaten des Dateisystems, Ordner "
           "außerhalb der Bereiche, nicht lesbare Ordner).";
}

} // namespace velmora::SystemDataText
