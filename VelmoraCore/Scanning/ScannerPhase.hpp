// The order in which scanners run: specific ones first, broad collectors after them, the big-folder
// sweep last, so that later phases can leave out what earlier ones reported.
#pragma once

#include <array>

namespace velmora {

enum class ScannerPhase { specific, collector, lateCollector };

inline constexpr std::array<ScannerPhase, 3> allScannerPhases{ScannerPhase::specific, ScannerPhase::collector,
                                                              ScannerPhase::lateCollector};

} // namespace velmora
