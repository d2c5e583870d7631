// A home in a temp tree with the context scanners see: the real size meter, the live guard for that
// home, and tools that exist only when the test installs them, answered by a scripted runner.
#pragma once

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>

namespace velmora::test {

struct ScanTree {
    // `logicalHome` defaults to anna's home of the layout; tools are looked for in `toolFolders` of
    // the tree, or by absolute path (e.g. "/usr/bin/xcrun") when there are none.
    explicit ScanTree(PlatformLayout layout = PlatformLayout::macOS, std::filesystem::path logicalHome = {},
                      std::vector<std::filesystem::path> toolFolders = {}) {
        if (logicalHome.empty())
            logicalHome = layout == PlatformLayout::macOS ? "/Users/anna" : "/home/anna";
        home = context.home = tree.folder(logicalHome);
        context.rootPrefix = tree.root();
        context.layout = layout;
        context.sizer = std::make_shared<SizeMeter>();
        context.runner = runner;
        for (auto& folder : toolFolders)
            folder = tree / folder;
        context.tools = std::make_shared<ToolLocator>(
            ToolLocator{std::move(toolFolders),
                        [this](const std::filesystem::path& p) { return installed.contains(p); }});
        SafetyGuard::Setup setup;
        setup.layout = layout;
        setup.rootPrefix = tree.root();
        setup.home = logicalHome;
        context.safety = std::make_shared<const SafetyGuard>(setup);
    }

    std::filesystem::path tool(const std::filesystem::path& folder, const std::string& name) {
        return *installed.insert(tree / folder / name).first;
    }
    // Sets both times of `path` (not followed) to `by` before the context's now.
    void age(const std::filesystem::path& path, std::chrono::hours by) const {
        const auto when = std::chrono::system_clock::to_time_t(context.now - by);
        const timespec times[2] = {{when, 0}, {when, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
    }
    template <class S> std::vector<Finding> scan(S&& scanner) const {
        auto found = scanner.scan(context, {});
        EXPECT_TRUE(found) << (found ? "" : found.error().message);
        return found.value_or(std::vector<Finding>{});
    }
    template <class S> std::string error(S&& scanner) const {
        auto found = scanner.scan(context, {});
        return found ? "no error" : found.error().message;
    }

    testing::TempTree tree;
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    std::set<std::filesystem::path> installed;
    ScanContext context;
    std::filesystem::path home;
};

// The names of all items of `findings`, in order.
inline std::vector<std::string> itemNames(const std::vector<Finding>& findings) {
    std::vector<std::string> names;
    for (const auto& finding : findings)
        for (const auto& item : finding.items)
            names.push_back(item.name);
    return names;
}

// A recorded tool output below the fixtures folder.
inline std::string recording(const std::filesystem::path& relative) {
    return testing::contentOf(std::filesystem::path(VELMORA_FIXTURES) / relative);
}

} // namespace velmora::test
