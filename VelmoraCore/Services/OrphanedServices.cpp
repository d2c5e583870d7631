#include "Services/OrphanedServices.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Removal/AdminScriptBuilder.hpp"

#include <sys/stat.h>

namespace velmora::OrphanedServices {

namespace {

FindingItem findingItem(const LaunchItem& item) {
    FindingItem result;
    result.id = item.id;
    result.url = item.plistURL;
    result.name = item.displayName;
    result.detail = item.explanation;
    struct stat st {};
    if (item.plistURL && ::lstat(item.plistURL->c_str(), &st) == 0)
        result.size = static_cast<std::int64_t>(st.st_blocks) * 512;
    return result;
}

Finding orphanFinding(FindingID id, std::string_view findingTitle, std::string_view findingSummary,
                      RemovalMethod method, std::vector<FindingItem> items, std::string preview) {
    Finding finding;
    finding.id = std::move(id);
    finding.category = Category::services;
    finding.title = findingTitle;
    finding.summary = findingSummary;
    finding.risk = Risk::review;
    finding.method = std::move(method);
    finding.size = itemsTotal(items);
    finding.items = std::move(items);
    finding.commandPreview = std::move(preview);
    return finding;
}

} // namespace

FindingID userFindingID() {
    return FindingID{std::string(scannerID), ""};
}

FindingID adminFindingID() {
    return FindingID{std::string(scannerID), std::string(adminKey)};
}

std::string userBootoutCommand(std::uint32_t uid, std::string_view label) {
    return "/bin/launchctl bootout gui/" + std::to_string(uid) + "/" + std::string(label);
}

std::vector<Finding> findings(const LaunchItemScanner& scanner, const std::vector<LaunchItem>& items) {
    std::vector<FindingItem> userItems;
    std::string userPreview;
    std::vector<FindingItem> adminItems;
    std::vector<AdminStep> steps;
    for (const auto& item : items) {
        if (!scanner.isRemovable(item))
            continue;
        if (item.scope == LaunchScope::user) {
            userItems.push_back(findingItem(item));
            userPreview += (userPreview.empty() ? "" : "\n") + userBootoutCommand(scanner.uid(), item.label);
        } else if (item.scope == LaunchScope::allUsers || item.scope == LaunchScope::system) {
            adminItems.push_back(findingItem(item));
            steps.push_back(AdminStep{"/bin/launchctl", {"bootout", "system/" + item.label}, item.id, false});
            steps.push_back(AdminStep{"/bin/rm", {"-f", item.plistURL->string()}, item.id, true});
        }
    }

    std::vector<Finding> result;
    if (!userItems.empty())
        result.push_back(orphanFinding(userFindingID(), title, summary, RemovalMethod::trash(),
                                       std::move(userItems), std::move(userPreview)));
    if (!adminItems.empty()) {
        std::string preview;
        for (const auto& step : steps)
            preview += (preview.empty() ? "" : "\n") + AdminScriptBuilder::commandLine(step);
        result.push_back(orphanFinding(adminFindingID(), adminTitle, adminSummary,
                                       RemovalMethod::admin(std::move(steps)), std::move(adminItems),
                                       std::move(preview)));
    }
    return result;
}

std::string countText(std::size_t count) {
    if (count == 0)
        return "Keine verwaisten Hintergrunddienste";
    if (count == 1)
        return "1 verwaister Hintergrunddienst";
    return std::to_string(count) + " verwaiste Hintergrunddienste";
}

} // namespace velmora::OrphanedServices
