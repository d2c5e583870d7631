#include "SystemData/Scanners/SystemCleanupScanners.hpp"

#include "SystemData/Scanners/AptCacheScanner.hpp"
#include "SystemData/Scanners/FlatpakRuntimesScanner.hpp"
#include "SystemData/Scanners/JournalVacuumScanner.hpp"
#include "SystemData/Scanners/LibraryCachesScanner.hpp"
#include "SystemData/Scanners/OldCrashDumpsScanner.hpp"
#include "SystemData/Scanners/OldSystemLogsScanner.hpp"
#include "SystemData/Scanners/OldTempFilesScanner.hpp"
#include "SystemData/Scanners/UnifiedLogScanner.hpp"
#include "SystemData/Scanners/UpdateLeftoversScanner.hpp"

#include <unistd.h>

namespace velmora {

std::vector<std::shared_ptr<Scanner>> SystemCleanupScanners::forLayout(PlatformLayout layout) {
    std::vector<std::shared_ptr<Scanner>> scanners{std::make_shared<OldTempFilesScanner>(::getuid())};
    if (layout == PlatformLayout::macOS) {
        scanners.push_back(std::make_shared<LibraryCachesScanner>());
        scanners.push_back(std::make_shared<OldSystemLogsScanner>());
        scanners.push_back(std::make_shared<UnifiedLogScanner>());
        scanners.push_back(std::make_shared<UpdateLeftoversScanner>());
    } else {
        scanners.push_back(std::make_shared<AptCacheScanner>());
        scanners.push_back(std::make_shared<JournalVacuumScanner>());
        scanners.push_back(std::make_shared<OldCrashDumpsScanner>());
        scanners.push_back(std::make_shared<FlatpakRuntimesScanner>());
    }
    return scanners;
}

} // namespace velmora
