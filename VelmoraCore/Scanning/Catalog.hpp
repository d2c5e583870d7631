// The fixed table of path rules: developer caches, toolchains, app caches and AI leftovers. One path
// scanner runs per rule. The Linux layout keeps the rows that have a Linux home and moves their paths.
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Scanning/PathRule.hpp"
#include "Scanning/Scanner.hpp"

#include <memory>
#include <string_view>
#include <vector>

namespace velmora {

class Catalog {
public:
    // The rules in table order.
    static const std::vector<PathRule>& rules(PlatformLayout layout = PlatformLayout::macOS);
    // The rule with this id; an unknown id is a programming error and stops the program with
    // "Unbekannte PathRule-ID: <id>".
    static const PathRule& rule(std::string_view id, PlatformLayout layout = PlatformLayout::macOS);
    // One scanner per rule, in table order ("system.oldLogs" counts single old files, not the folder),
    // then the specialised scanners that read tools and bundles rather than match paths.
    static std::vector<std::shared_ptr<Scanner>> scanners(PlatformLayout layout);
};

} // namespace velmora
