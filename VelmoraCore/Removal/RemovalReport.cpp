#include "Removal/RemovalReport.hpp"

namespace velmora {

std::string RemovalReport::failureSummary(std::size_t count) {
    if (count == 1)
        return "1 Eintrag konnte nicht entfernt werden.";
    return std::to_string(count) + " Einträge konnten nicht entfernt werden.";
}

std::optional<std::string> RemovalReport::summary() const {
    if (failures.empty())
        return std::nullopt;
    return failureSummary(failures.size());
}

} // namespace velmora
