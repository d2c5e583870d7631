// The biggest folders below the home that no other finding explains ("Große Brocken"): one hint per
// folder, so that the user can look at what takes the space when no rule knows it.
//
// How the folders are chosen. The home is walked once (one file system, no link followed, hard links
// once), leaving out everything earlier phases claimed, the Trash and the photos library. A folder's
// unexplained size is its size minus what other findings reported inside it; since the claimed trees
// are not walked (their reported size stands in for them and is subtracted again), that is exactly
// what the walk counted below the folder. Then, from the deepest folders up: a folder is listed when
// what it holds beyond its listed subfolders reaches the threshold, and passes nothing on to its
// parent; otherwise it passes all of it on. So the deepest folder that alone holds the threshold is
// listed, and a parent only for what its listed children leave over. The home itself is never listed.
// When more folders qualify than may be listed, the smallest is given back to its parent (which may
// qualify with it) until few enough remain. Biggest first.
//
// It walks with a size meter of its own rather than the context's measurer, which only knows totals;
// `walk` sets its threads (it always keeps to one file system). The Trash left out is ~/.Trash and
// the freedesktop.org one at its default place (~/.local/share/Trash).
#pragma once

#include "Platform/SizeMeter.hpp"
#include "Scanning/BigChunk.hpp"
#include "Scanning/Scanner.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {

class BigChunksScanner : public Scanner {
public:
    static constexpr std::int64_t defaultThreshold = 1'000'000'000;
    static constexpr std::size_t defaultMaxChunks = 20;

    explicit BigChunksScanner(std::int64_t threshold = defaultThreshold,
                              std::size_t maxChunks = defaultMaxChunks, SizeMeter::Options walk = {});

    std::string id() const override { return "personal.bigChunks"; }
    ScannerPhase phase() const override { return ScannerPhase::lateCollector; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // The choice described above on the totals of one walk (parents before children, the walked
    // folder first, as SizeMeter::measureFolders returns them).
    static std::vector<BigChunk> chunks(const std::vector<SizeMeter::FolderTotal>& folders,
                                        std::int64_t threshold, std::size_t maxChunks);

private:
    std::int64_t threshold_;
    std::size_t maxChunks_;
    SizeMeter meter_;
};

} // namespace velmora
