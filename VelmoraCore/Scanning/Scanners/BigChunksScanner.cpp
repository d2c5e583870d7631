#include "Scanning/Scanners/BigChunksScanner.hpp"

#include "Findings/ByteFormat.hpp"
#include "Scanning/PathClaims.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"

#include <algorithm>
#include <optional>

namespace velmora {

namespace {

SizeMeter::Options oneFileSystem(SizeMeter::Options options) {
    options.oneFileSystem = true;
    return options;
}

// The components of `path` after those of `base`, or nothing when it does not lie inside (or is) base.
std::optional<std::vector<std::string>> inside(const std::vector<std::string>& path,
                                               const std::vector<std::string>& base) {
    if (path.size() < base.size() || !std::equal(base.begin(), base.end(), path.begin()))
        return std::nullopt;
    return std::vector<std::string>(path.begin() + static_cast<std::ptrdiff_t>(base.size()), path.end());
}

} // namespace

BigChunksScanner::BigChunksScanner(std::int64_t threshold, std::size_t maxChunks, SizeMeter::Options walk)
    : threshold_(threshold), maxChunks_(maxChunks), meter_(oneFileSystem(walk)) {}

std::vector<BigChunk> BigChunksScanner::chunks(const std::vector<SizeMeter::FolderTotal>& folders,
                                               std::int64_t threshold, std::size_t maxChunks) {
    const std::size_t n = folders.size();
    std::vector<bool> givenBack(n, false);
    for (;;) {
        // Children come after their parents, so going backwards settles every child first.
        std::vector<std::int64_t> left(n);
        for (std::size_t i = 0; i < n; ++i)
            left[i] = folders[i].bytes;
        std::vector<std::size_t> listed;
        for (std::size_t i = n; i-- > 0;) {
            const auto parent = folders[i].parent;
            const bool lists = parent >= 0 && !givenBack[i] && left[i] >= threshold;
            if (lists)
                listed.push_back(i);
            // The parent keeps only what no listed folder at or below this one accounts for.
            if (parent >= 0)
                left[static_cast<std::size_t>(parent)] -=
                    lists ? folders[i].bytes : folders[i].bytes - left[i];
        }
        if (listed.size() <= maxChunks) {
            std::vector<BigChunk> result;
            for (std::size_t i : listed)
                result.push_back(BigChunk{folders[i].location, left[i]});
            std::ranges::sort(result, [](const BigChunk& a, const BigChunk& b) {
                return a.bytes != b.bytes ? a.bytes > b.bytes : a.location < b.location;
            });
            return result;
        }
        const auto smallest = std::ranges::min_element(listed, [&](std::size_t a, std::size_t b) {
            return left[a] != left[b] ? left[a] < left[b] : folders[a].location > folders[b].location;
        });
        givenBack[*smallest] = true;
    }
}

std::expected<std::vector<Finding>, ScanError> BigChunksScanner::scan(const ScanContext& context,
                                                                      StopToken stop) {
    const auto home = PathClaims::standardComponents(context.home);
    SizeMeter::Exclusions leaveOut;
    for (const auto& claimed : context.claims->claimed()) {
        if (inside(home, claimed))
            return std::vector<Finding>{}; // the whole home is already explained
        if (auto below = inside(claimed, home))
            leaveOut.add(*below);
    }
    // The Trash is emptied, not sorted through; the photos library has its own finding even when
    // its scanner did not deliver.
    leaveOut.add({".Trash"});
    leaveOut.add({".local", "share", "Trash"});
    leaveOut.add({"Pictures", "Photos Library.photoslibrary"});

    const auto totals = meter_.measureFolders(context.home, leaveOut, threshold_, stop);
    if (stop.stop_requested() || totals.result.stopped)
        return std::unexpected(ScanError{ScanEngine::cancelledMessage});

    const bool mac = context.layout == PlatformLayout::macOS;
    std::vector<Finding> findings;
    for (const auto& chunk : chunks(totals.folders, threshold_, maxChunks_)) {
        const auto relative = chunk.location.lexically_relative(context.home);
        FindingItem item;
        item.id = chunk.location.string();
        item.url = chunk.location;
        item.name = relative.string();
        item.size = chunk.bytes;
        // What other findings already show inside it is not part of its size; say so, so that the
        // folder's size in the file manager does not look like a contradiction.
        if (const auto reported = PathClaims::reportedBytes(chunk.location, *context.earlierFindings);
            reported > 0)
            item.detail = "Dazu " + ByteFormat::fileSize(reported) + " in anderen Funden";

        Finding finding;
        finding.id = FindingID{id(), chunk.location.string()};
        finding.category = Category::personalData;
        finding.title = "Großer Ordner „" + relative.string() + "“";
        finding.summary = std::string("Ein großer Ordner, den keine andere Regel erklärt. Sieh ihn dir im ") +
                          (mac ? "Finder" : "Dateimanager") +
                          " an und entscheide selbst, was du noch brauchst – Velmora fasst ihn nicht an.";
        finding.risk = Risk::hintOnly;
        finding.method = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{chunk.location}});
        finding.size = chunk.bytes;
        finding.items.push_back(std::move(item));
        findings.push_back(std::move(finding));
    }
    return findings;
}

} // namespace velmora
