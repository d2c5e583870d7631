// The system clean-up scanners of one platform layout ("systemdata.…" findings of the system data tab).
#pragma once

#include "Platform/PlatformLayout.hpp"
#include "Scanning/Scanner.hpp"

#include <memory>
#include <vector>

namespace velmora {

class SystemCleanupScanners {
public:
    // macOS: old temporary files, /Library/Caches, old system logs, the unified log, update leftovers.
    // Linux: old temporary files, the APT cache, the journal, old crash dumps, unused Flatpak runtimes.
    static std::vector<std::shared_ptr<Scanner>> forLayout(PlatformLayout layout);
};

} // namespace velmora
