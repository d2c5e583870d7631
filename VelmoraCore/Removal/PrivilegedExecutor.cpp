#include "Removal/PrivilegedExecutor.hpp"

namespace velmora {

AdminRunResult adminRunResult(const CommandError& error) {
    switch (error.kind) {
    case CommandError::Kind::timeout:
        return AdminRunResult::failed("Zeitüberschreitung");
    case CommandError::Kind::cancelled:
        return AdminRunResult::cancelled();
    case CommandError::Kind::launchFailed:
        break;
    }
    return AdminRunResult::failed("Konnte nicht gestartet werden: " + error.message);
}

} // namespace velmora
