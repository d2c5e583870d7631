#include "Scanning/Scanners/OldLogsScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace velmora {

namespace {

// Simulator logs are a finding of their own and are left to it.
constexpr const char* ownFindingFolders[] = {"CoreSimulator"};

} // namespace

std::expected<std::vector<Finding>, ScanError> OldLogsScanner::scan(const ScanContext& context,
                                                                    StopToken stop) {
    namespace fs = std::filesystem;
    const auto cutoff = context.now - std::chrono::seconds{std::int64_t{rule_.minAgeDays} * 86'400};
    std::vector<FindingItem> items;
    for (const auto& pattern : rule_.patterns) {
        const fs::path root = context.home / pattern;
        struct stat rootStat {};
        if (::lstat(root.c_str(), &rootStat) != 0 || !S_ISDIR(rootStat.st_mode))
            continue;
        std::error_code ec;
        fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, ec);
        std::vector<fs::path> files;
        for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (stop.stop_requested())
                return std::unexpected(ScanError{"Abgebrochen"});
            const auto& path = it->path();
            if (it.depth() == 0 && std::ranges::find(ownFindingFolders, path.filename().string()) !=
                                       std::end(ownFindingFolders)) {
                it.disable_recursion_pending();
                continue;
            }
            struct stat st {};
            if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
                continue;
            const auto modified = modificationTime(st);
            if (modified <= cutoff && !(context.claims && context.claims->isClaimed(path)))
                files.push_back(path);
        }
        std::ranges::sort(files);
        for (const auto& file : files) {
            FindingItem item;
            item.id = file.string();
            item.url = file;
            item.name = file.lexically_relative(root).string();
            item.size = context.sizer ? context.sizer->size(file, stop) : 0;
            if (*item.size >= rule_.minSize)
                items.push_back(std::move(item));
        }
    }
    if (items.empty())
        return std::vector<Finding>{};
    return std::vector<Finding>{PathScanner::findingFor(rule_, std::move(items))};
}

} // namespace velmora
