#include "Removal/RemovalPlanText.hpp"

#include "Findings/ByteFormat.hpp"
#include "Findings/RemovalMethod.hpp"
#include "Removal/BrewCommand.hpp"

#include <algorithm>
#include <variant>

namespace velmora::RemovalPlanText {

namespace {

Group groupOf(const std::vector<RemovalStep>& steps, const RemovalMethod& method) {
    Group group{method.rowText().value_or(""), method.rowSymbol(), {}};
    for (const auto& step : steps)
        group.steps.push_back(&step);
    return group;
}

} // namespace

std::vector<Group> groups(const RemovalPlan& plan) {
    std::vector<Group> result;
    for (const auto& step : plan.toolSteps)
        result.push_back(
            Group{step.finding->method.rowText().value_or(""), step.finding->method.rowSymbol(), {&step}});
    // The delete group also holds the large Trash items of the direct-delete option: they go the
    // delete group's way, so they are listed under its warning, not under the Trash.
    if (!plan.trashSteps.empty())
        result.push_back(groupOf(plan.trashSteps, RemovalMethod::trash()));
    if (!plan.deleteSteps.empty())
        result.push_back(groupOf(plan.deleteSteps, RemovalMethod::deleteDirectly()));
    if (!plan.adminSteps.empty())
        result.push_back(groupOf(plan.adminSteps, RemovalMethod::admin({})));
    return result;
}

std::string sizeText(const std::optional<std::int64_t>& size) {
    return size ? ByteFormat::fileSize(*size) : std::string(unknownSize);
}

std::optional<std::int64_t> stepSize(const RemovalStep& step) {
    std::optional<std::int64_t> sum;
    for (const auto& planned : step.items)
        if (planned.item.size)
            sum = sum.value_or(0) + std::max<std::int64_t>(*planned.item.size, 0);
    return sum;
}

std::string total(const RemovalPlan& plan) {
    const auto count = plan.itemCount();
    return "Insgesamt: " + ByteFormat::fileSize(plan.totalSize) + " in " + std::to_string(count) +
           (count == 1 ? " Eintrag" : " Einträgen");
}

std::vector<FindingItem> directDeleteOffers(const RemovalPlan& plan) {
    std::vector<FindingItem> offers = plan.directDeleteCandidates;
    for (const auto& step : plan.trashSteps)
        for (const auto& planned : step.items)
            if (planned.item.size && *planned.item.size >= RemovalPlan::directDeleteThreshold)
                offers.push_back(planned.item);
    return offers;
}

bool offersZap(const RemovalPlan& plan) {
    return std::ranges::any_of(plan.toolSteps, [](const RemovalStep& step) {
        const auto* tool = std::get_if<RemovalMethod::Tool>(&step.finding->method.value);
        return tool && BrewCommand::isCaskUninstall(tool->command);
    });
}

std::vector<AppRef> blockingApps(const RemovalPlan& plan) {
    std::vector<AppRef> apps;
    const auto add = [&](const AppRef& app) {
        if (std::ranges::find(apps, app) == apps.end())
            apps.push_back(app);
    };
    for (const auto* group : {&plan.toolSteps, &plan.trashSteps, &plan.deleteSteps, &plan.adminSteps})
        for (const auto& step : *group) {
            for (const auto& planned : step.items)
                if (planned.item.blockingApp)
                    add(*planned.item.blockingApp);
            for (const auto& app : step.finding->blockingApps)
                add(app);
        }
    return apps;
}

std::vector<std::string> reportLines(const RemovalReport& report) {
    std::vector<std::string> lines;
    const auto reconciliation = report.reconciliation();
    for (std::size_t i = 0; i < reconciliation.size(); ++i)
        lines.push_back((i == 0 ? "" : "  ") + reconciliation[i]);
    lines.push_back("Freigegeben: " + ByteFormat::fileSize(report.freedBytes));
    for (auto line : {report.trashedText(), report.freeSpaceText(), report.freeSpaceNote(), report.summary()})
        if (line)
            lines.push_back(std::move(*line));
    if (report.runID)
        lines.push_back("Protokolliert als " + *report.runID + " (velmora removals " + *report.runID + ")");
    return lines;
}

} // namespace velmora::RemovalPlanText
