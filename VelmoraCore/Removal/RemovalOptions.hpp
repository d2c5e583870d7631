// What the user chose in the removal confirmation besides the items themselves.
#pragma once

namespace velmora {

struct RemovalOptions {
    // Large Trash items (see RemovalPlan::directDeleteThreshold) are deleted at once instead.
    bool deleteDirectly = false;
    // Homebrew casks are uninstalled together with their settings ("--zap").
    bool zap = false;
    // Nothing is changed; every item is only reported.
    bool dryRun = false;

    bool operator==(const RemovalOptions&) const = default;
};

} // namespace velmora
