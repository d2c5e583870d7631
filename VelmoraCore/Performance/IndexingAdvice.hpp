// Finds big developer folders (node_modules, DerivedData, build output, virtual environments) that the
// desktop search indexes again after every build, and says how to exclude each one.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Platform/SizeMeasurer.hpp"
#include "Support/StopToken.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

struct IndexingHint {
    std::string id; // "indexing.<indexer>.<folder>"
    std::string title;
    std::string text; // names the folder, its size and the exact step that excludes it
    std::filesystem::path folder;
    std::int64_t size = 0;

    bool operator==(const IndexingHint&) const = default;
};

// Which folders count: "node_modules", "DerivedData", ".build", "target" beside a Cargo.toml or
// pom.xml (or holding Cargo's CACHEDIR.TAG), "build" beside a project file (CMakeLists.txt,
// package.json, build.gradle, …), and every folder holding a pyvenv.cfg. The walk never enters them,
// nor follows symbolic links.
//
// macOS (Spotlight): the home folder without Library and .Trash, plus ~/Library/Developer/Xcode/
// DerivedData; a folder holding .metadata_never_index is skipped with everything below it, like one
// whose name ends in ".noindex".
// Linux, only for the indexer that runs:
// - Tracker (tracker-miner-fs-3 or localsearch-3 among `runningPrograms`): its default folders, the
//   Desktop, Documents, Pictures (as user-dirs.dirs names them), Music and Videos folders, recursively;
//   hidden folders and folders holding .trackerignore, .git, .hg or .nomedia are not indexed. Its own
//   settings live in dconf, which we cannot read, so changed settings are not seen.
// - Baloo (~/.config/baloofilerc, unless "Indexing-Enabled=false"): the "folders" it names (the home
//   folder by default) without its "exclude folders"; hidden folders unless "index hidden folders=true";
//   folder names matching "exclude filters" (by default its own list, which holds node_modules and
//   virtual environments) are not indexed.
class IndexingAdvice {
public:
    struct Setup {
        PlatformLayout layout = hostLayout();
        std::filesystem::path home; // a real path
        std::shared_ptr<const SizeMeasurer> sizes;
        std::vector<std::string>
            runningPrograms{};                  // executable file names or short names of running processes
        std::int64_t minimumSize = 200'000'000; // smaller folders cost too little to mention
        std::size_t maxHints = 10;              // the biggest ones
        int maxDepth = 8;                       // folder levels below each indexed folder
        std::size_t maxFolders = 50'000;        // folders listed in all, so a huge home cannot stall the walk
    };

    // The hints, biggest folder first. When `stop` is requested the walk ends early with what it found.
    static std::vector<IndexingHint> find(const Setup& setup, StopToken stop = {});
};

} // namespace velmora
