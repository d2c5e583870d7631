#include "SystemData/Scanners/CleanupFinding.hpp"

#include "Platform/FileTime.hpp"
#include "Platform/FolderNames.hpp"
#include "Platform/UniqueFd.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/AdminStepCheck.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <set>

namespace velmora::cleanup {

namespace fs = std::filesystem;

namespace {

// Sorted, so that findings do not depend on the file system's listing order.
std::vector<std::string> namesIn(const fs::path& folder, bool& complete) {
    const UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    auto names = fd ? folderNames(fd.get()) : std::unexpected(errno);
    if (!names) {
        complete = false;
        return {};
    }
    std::ranges::sort(*names);
    return std::move(*names);
}

struct Kept {
    std::vector<FindingItem> items;
    RemovalMethod method;
};

// The items (and, for an admin method, the steps) that removal would accept.
Kept acceptable(const RemovalMethod& method, const std::vector<FindingItem>& items,
                const ScanContext& context) {
    const auto guard = context.safety;
    SafetyCheck safety;
    if (guard)
        safety = [guard](const fs::path& path) { return guard->check(path); };

    const auto* admin = std::get_if<RemovalMethod::Admin>(&method.value);
    if (!admin) {
        Kept kept{{}, method};
        for (const auto& item : items)
            if (safety && item.url && !safety(*item.url))
                kept.items.push_back(item);
        return kept;
    }

    const AdminStepCheck check(safety, context.layout, context.rootPrefix);
    std::set<std::string> refused;
    for (const auto& step : admin->steps) {
        if (!check.check(step))
            continue;
        if (!step.itemID) // the finding as a whole cannot go
            return Kept{{}, method};
        refused.insert(*step.itemID);
    }
    Kept kept{{}, RemovalMethod::admin({})};
    auto& steps = std::get<RemovalMethod::Admin>(kept.method.value).steps;
    for (const auto& step : admin->steps)
        if (!step.itemID || !refused.contains(*step.itemID))
            steps.push_back(step);
    for (const auto& item : items)
        if (!refused.contains(item.id))
            kept.items.push_back(item);
    return kept;
}

std::optional<std::int64_t> totalSize(const std::vector<FindingItem>& items) {
    std::int64_t total = 0;
    for (const auto& item : items) {
        if (!item.size)
            return std::nullopt;
        total += *item.size;
    }
    return total;
}

} // namespace

std::chrono::system_clock::time_point lastChange(const struct stat& info) {
#ifdef __APPLE__
    const auto changed = timePointOf(info.st_ctimespec);
#else
    const auto changed = timePointOf(info.st_ctim);
#endif
    return std::max(modificationTime(info), changed);
}

std::chrono::system_clock::time_point daysBefore(const ScanContext& context, int days) {
    return context.now - std::chrono::hours{24 * days};
}

std::vector<Entry> entriesIn(const fs::path& folder) {
    bool complete = true;
    std::vector<Entry> entries;
    for (const auto& name : namesIn(folder, complete)) {
        Entry entry{folder / name};
        if (::lstat(entry.path.c_str(), &entry.info) == 0)
            entries.push_back(std::move(entry));
    }
    return entries;
}

bool forEachBelow(const fs::path& folder, const std::function<bool(const Entry&)>& visit, StopToken stop) {
    bool complete = true;
    std::vector<fs::path> pending{folder};
    while (!pending.empty()) {
        if (stop.stop_requested())
            return false;
        const fs::path current = std::move(pending.back());
        pending.pop_back();
        for (const auto& name : namesIn(current, complete)) {
            Entry entry{current / name};
            if (::lstat(entry.path.c_str(), &entry.info) != 0) {
                complete = false;
                continue;
            }
            if (!visit(entry))
                return false;
            if (S_ISDIR(entry.info.st_mode))
                pending.push_back(entry.path);
        }
    }
    return complete;
}

std::vector<Entry> filesBelow(const fs::path& folder, StopToken stop) {
    std::vector<Entry> files;
    forEachBelow(
        folder,
        [&](const Entry& entry) {
            if (S_ISREG(entry.info.st_mode))
                files.push_back(entry);
            return true;
        },
        stop);
    std::ranges::sort(files, {}, &Entry::path);
    return files;
}

bool isExecutable(const fs::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           (info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
}

std::string count(std::size_t n, std::string_view one, std::string_view many) {
    return std::to_string(n) + " " + std::string(n == 1 ? one : many);
}

FindingItem item(const fs::path& path, std::string name, const ScanContext& context, StopToken stop) {
    FindingItem result;
    result.id = path.string();
    result.url = path;
    result.name = std::move(name);
    result.size = context.sizer ? context.sizer->size(path, stop) : 0;
    return result;
}

RemovalMethod command(std::string executable, std::vector<std::string> arguments) {
    return RemovalMethod::admin(
        {AdminStep{std::move(executable), std::move(arguments), std::nullopt, false}});
}

std::vector<Finding> finding(const Texts& texts, RemovalMethod method, std::vector<FindingItem> items,
                             const ScanContext& context, const fs::path& folder) {
    if (items.empty())
        return {};
    Finding result;
    result.id = FindingID{std::string(texts.id), ""};
    result.category = categoryForScannerID(texts.id).value_or(Category::systemData);
    result.title = texts.title;
    result.summary = texts.summary;
    result.risk = texts.risk;

    auto kept = acceptable(method, items, context);
    if (kept.items.empty()) {
        result.summary += " " + std::string(texts.byHand);
        result.risk = Risk::hintOnly;
        result.method = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{folder}});
    } else {
        items = std::move(kept.items);
        result.method = std::move(kept.method);
        if (const auto* admin = std::get_if<RemovalMethod::Admin>(&result.method.value)) {
            std::string preview;
            for (const auto& step : admin->steps)
                preview += (preview.empty() ? "" : "\n") + AdminScriptBuilder::commandLine(step);
            result.commandPreview = std::move(preview);
        } else {
            result.commandPreview = PathScanner::commandPreview(result.method, items);
        }
    }
    result.size = totalSize(items);
    result.items = std::move(items);
    return {std::move(result)};
}

std::expected<std::vector<Finding>, ScanError>
removedOneByOne(const Texts& texts, const std::vector<Entry>& entries, std::string_view rmOptions,
                const fs::path& folder, const ScanContext& context, StopToken stop) {
    std::vector<FindingItem> items;
    std::vector<AdminStep> steps;
    for (const auto& entry : entries) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (context.claims && context.claims->isClaimed(entry.path))
            continue;
        auto found = item(entry.path, entry.path.lexically_relative(folder).string(), context, stop);
        if (found.size <= 0)
            continue;
        items.push_back(std::move(found));
        steps.push_back(AdminStep{
            "/bin/rm", {std::string(rmOptions), "--", entry.path.string()}, entry.path.string(), false});
    }
    return finding(texts, RemovalMethod::admin(std::move(steps)), std::move(items), context, folder);
}

} // namespace velmora::cleanup
