#include "Removal/RemovalPlan.hpp"

#include "Findings/ShellQuote.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/BrewCommand.hpp"

#include <memory>
#include <variant>

namespace velmora {

namespace {

bool isCandidate(const FindingItem& item) {
    return item.size && *item.size >= RemovalPlan::directDeleteThreshold;
}

} // namespace

RemovalPlan RemovalPlan::build(const std::vector<FindingSelection>& selections, RemovalOptions options) {
    RemovalPlan plan;
    plan.options = options;
    for (const auto& selection : selections) {
        if (selection.items.empty())
            continue;
        Finding finding = selection.finding;
        const RemovalKind kind = finding.method.kind();
        if (kind == RemovalKind::hint)
            continue;
        if (auto* tool = std::get_if<RemovalMethod::Tool>(&finding.method.value); tool && options.zap)
            tool->command = BrewCommand::withZap(tool->command);
        for (const auto& item : selection.items)
            if (item.size && *item.size > 0)
                plan.totalSize += *item.size;

        auto shared = std::make_shared<const Finding>(std::move(finding));
        switch (kind) {
        case RemovalKind::tool:
            plan.toolSteps.push_back(RemovalStep::capture(shared, selection.items));
            break;
        case RemovalKind::delete_:
            plan.deleteSteps.push_back(RemovalStep::capture(shared, selection.items));
            break;
        case RemovalKind::admin:
            plan.adminSteps.push_back(RemovalStep::capture(shared, selection.items));
            break;
        case RemovalKind::trash: {
            std::vector<FindingItem> toTrash;
            std::vector<FindingItem> toDelete;
            for (const auto& item : selection.items)
                (options.deleteDirectly && isCandidate(item) ? toDelete : toTrash).push_back(item);
            if (!toTrash.empty())
                plan.trashSteps.push_back(RemovalStep::capture(shared, toTrash));
            if (!toDelete.empty()) {
                plan.deleteSteps.push_back(RemovalStep::capture(shared, toDelete));
                plan.directDeleteCandidates.insert(plan.directDeleteCandidates.end(), toDelete.begin(),
                                                   toDelete.end());
            }
            break;
        }
        case RemovalKind::hint:
            break;
        }
    }
    return plan;
}

std::size_t RemovalPlan::itemCount() const {
    std::size_t count = 0;
    for (const auto* group : {&toolSteps, &trashSteps, &deleteSteps, &adminSteps})
        for (const auto& step : *group)
            count += step.items.size();
    return count;
}

bool RemovalPlan::isEmpty() const {
    return itemCount() == 0;
}

std::vector<std::string> RemovalPlan::commandPreview() const {
    std::vector<std::string> lines;
    for (const auto& step : toolSteps)
        if (const auto* tool = std::get_if<RemovalMethod::Tool>(&step.finding->method.value))
            lines.push_back(tool->command.commandLine());
    for (const auto& step : trashSteps)
        for (const auto& planned : step.items)
            if (planned.item.url)
                lines.push_back(std::string(trashPreviewPrefix) + planned.item.url->string());
    for (const auto& step : deleteSteps)
        for (const auto& planned : step.items)
            if (planned.item.url)
                lines.push_back("rm -rf " + ShellQuote::quote(planned.item.url->string()));
    for (const auto& step : adminSteps) {
        const auto* admin = std::get_if<RemovalMethod::Admin>(&step.finding->method.value);
        if (!admin)
            continue;
        const auto units = AdminStep::units(step.selection().items, step.finding->items, admin->steps);
        if (!units)
            continue;
        for (const auto& unit : *units) {
            if (unit.failure || unit.items.empty())
                continue;
            for (const auto& adminStep : unit.steps) {
                if (adminStep.runsIfPreviousSucceeded)
                    lines.emplace_back(conditionalStepPreview);
                lines.push_back("sudo " + AdminScriptBuilder::commandLine(adminStep));
            }
        }
    }
    return lines;
}

} // namespace velmora
