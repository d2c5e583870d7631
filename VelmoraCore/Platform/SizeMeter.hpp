// The live size probe: walks a folder tree through directory descriptors, on several threads, and adds
// up the blocks its regular files occupy.
#pragma once

#include "Platform/SizeMeasurer.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <filesystem>

namespace velmora {

// Rules of one measurement:
// - only regular files count, with their allocated blocks (a sparse file counts what it really uses);
//   folders themselves, symbolic links, devices, pipes and sockets count 0; no link is ever followed;
// - a file with two or more hard links counts once per measurement, keyed by (device, inode);
// - an entry that cannot be opened or examined counts 0 and the walk goes on; a vanished one is not
//   an error;
// - like `du`, the walk crosses into other file systems mounted below the location: removing the
//   location removes what is visible there, and the totals stay comparable with `du -s`. With
//   `oneFileSystem` it stays on the location's own file system instead (`du -x`), for totals that
//   are compared with that file system's used space.
//
// The walk never recurses and keeps a bounded number of descriptors open, so folder chains of any
// depth work. Every thread walks its own subtree depth-first and hands folders to idle threads only
// when they ask for work.
class SizeMeter final : public SizeMeasurer {
public:
    struct Options {
        // Threads walking one measurement, the calling thread included; 1 walks on the caller alone.
        unsigned threads = defaultThreads();
        // Folders read on the calling thread before the other threads start, so that the many small
        // measurements of a scan do not pay for starting threads.
        unsigned parallelAfterDirectories = 32;
        // Folder descriptors one thread keeps open along its current path; deeper folders are
        // re-entered through ".." (checked by device and inode) when the walk climbs back up.
        unsigned openDirectoriesPerThread = 16;
        // Folders on another device than the location are skipped, neither counted nor unreadable.
        bool oneFileSystem = false;
    };

    // What one measurement saw.
    struct Result {
        std::int64_t bytes = 0;
        std::int64_t files = 0;       // regular files counted (each hard-linked file once)
        std::int64_t directories = 0; // folders read, the location included
        std::int64_t unreadable = 0;  // folders or files that could not be opened or examined
        bool stopped = false;         // the stop token ended the walk early

        bool operator==(const Result&) const = default;
    };

    SizeMeter() = default;
    explicit SizeMeter(Options options);

    std::int64_t size(const std::filesystem::path& location, StopToken stop = {}) const override;
    Result measure(const std::filesystem::path& location, StopToken stop = {}) const;
    // Complete when the walk neither stopped early nor met anything unreadable.
    Measurement measureBounded(const std::filesystem::path& location, StopToken stop,
                               bool oneFileSystem) const override;

    // Four threads per core, at least 4 and at most 16. On a warm cache the walk is bound by the cores
    // and extra threads cost next to nothing; on a cold one it waits for the disk, and more requests
    // in flight pay: on two cores, 8 threads measured a million files in 8 s against 12 s with 2.
    static unsigned defaultThreads();

    const Options& options() const { return options_; }

private:
    Options options_;
};

} // namespace velmora
