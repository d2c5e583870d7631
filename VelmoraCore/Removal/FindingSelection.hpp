// One finding together with the items of it that the user selected for removal.
#pragma once

#include "Findings/Finding.hpp"
#include "Findings/FindingItem.hpp"

#include <vector>

namespace velmora {

struct FindingSelection {
    Finding finding;
    std::vector<FindingItem> items; // in the order in which they are to be handled

    bool operator==(const FindingSelection&) const = default;
};

} // namespace velmora
