#include "Check/CheckNotificationText.hpp"

#include "Findings/ByteFormat.hpp"
#include "Findings/Category.hpp"

namespace velmora::CheckNotificationText {

std::string orphanedText(std::size_t count) {
    if (count == 1)
        return "1 neuer verwaister Hintergrunddienst";
    return std::to_string(count) + " neue verwaiste Hintergrunddienste";
}

AppTab tabForFinding(const std::string& idText) {
    if (idText.starts_with("systemdata."))
        return AppTab::systemData;
    // The scanner identifier's family names the category ("xcode.derivedData" → Xcode); one that names
    // none is filed where most findings are.
    const auto category = categoryForScannerID(idText.substr(0, idText.find('/')));
    return category ? tab(*category) : AppTab::storage;
}

std::optional<CheckNotification> make(const CheckSnapshot& snapshot) {
    const CheckAlert::Growth* growth = nullptr;
    const CheckAlert::OrphanedServices* orphaned = nullptr;
    const CheckAlert::LowSpace* lowSpace = nullptr;
    const CheckAlert::Cleanable* cleanable = nullptr;
    for (const auto& alert : snapshot.alerts) {
        if (const auto* g = std::get_if<CheckAlert::Growth>(&alert.value); g && !growth)
            growth = g;
        if (const auto* o = std::get_if<CheckAlert::OrphanedServices>(&alert.value);
            o && !orphaned && !o->labels.empty())
            orphaned = o;
        if (const auto* l = std::get_if<CheckAlert::LowSpace>(&alert.value); l && !lowSpace)
            lowSpace = l;
        if (const auto* c = std::get_if<CheckAlert::Cleanable>(&alert.value); c && !cleanable)
            cleanable = c;
    }
    const auto notification = [](std::string body, AppTab tab) {
        return CheckNotification{"Velmora 2", std::move(body), tab};
    };
    if (growth) {
        auto body = growth->title + " +" + ByteFormat::fileSize(growth->to - growth->from) +
                    " seit dem letzten Check";
        if (cleanable)
            body += " · " + ByteFormat::fileSize(cleanable->total) + " aufräumbar";
        return notification(std::move(body), tabForFinding(growth->id));
    }
    if (orphaned)
        return notification(orphanedText(orphaned->labels.size()), AppTab::services);
    if (lowSpace)
        return notification("Nur noch " + ByteFormat::fileSize(lowSpace->free) + " frei", AppTab::storage);
    if (cleanable)
        return notification(ByteFormat::fileSize(cleanable->total) + " aufräumbar", AppTab::storage);
    return std::nullopt;
}

} // namespace velmora::CheckNotificationText
