// Seals a test root: below a root prefix other than "/", every system tool is looked for and started
// inside the root only, so that no run against a tree can reach the real system. The one place that
// maps tool paths; in live use ("/") it changes nothing.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/ToolLocator.hpp"

#include <filesystem>
#include <memory>

namespace velmora {

class SealedRoot {
public:
    explicit SealedRoot(std::filesystem::path rootPrefix);

    bool isLive() const { return live_; }

    // Where a tool, named as the system names it ("/bin/launchctl"), lies inside the root. A path that
    // already lies below the root stays as it is; ".." never climbs out.
    std::filesystem::path toolPath(const std::filesystem::path& tool) const;
    // False when `path` resolves, through links, to a place outside the root (or the root's own path
    // cannot be resolved). A path that does not exist stays inside: starting it fails anyway.
    bool staysInside(const std::filesystem::path& path) const;

    // `locator` with its folders taken inside the root and its file test answering for tools that
    // stay inside only.
    ToolLocator locator(ToolLocator locator) const;
    // Starts toolPath(executable) in place of `executable`; a tool that leads out of the root is not
    // started (`launchFailed`).
    std::shared_ptr<CommandRunner> runner(std::shared_ptr<CommandRunner> inner) const;

private:
    std::filesystem::path prefix_;     // lexically normal, without a final "/"
    std::filesystem::path realPrefix_; // with links resolved; empty when that failed
    bool live_;
};

} // namespace velmora
