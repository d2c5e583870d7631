// A plain-language hint about why the machine feels slow, for the performance tab and `velmora top`.
#pragma once

#include <string>

namespace velmora {

struct SlowdownHint {
    std::string id; // stable while the condition lasts, so a view can keep its place
    std::string title;
    std::string text;

    bool operator==(const SlowdownHint&) const = default;
};

} // namespace velmora
