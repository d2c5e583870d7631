// What one property list may cost before libplist is let at it: libplist recurses once per nesting
// level (and so does freeing its tree), so a small file nested deeply enough ends the process.
#pragma once

#include <cstddef>
#include <string_view>

namespace velmora {

struct PropertyListBounds {
    // Real launchd plists and Info.plists nest fewer than 20 levels and hold a few thousand values;
    // 64 levels stay far inside the smallest thread stack libplist may run on.
    std::size_t maximumDepth = 64;
    std::size_t maximumValues = 100'000; // every value and dictionary key, shared ones once per use

    // A binary property list ("bplist00"): walks the object table from the top object without
    // recursion, as libplist would expand it (a value referenced twice counts twice, a reference back
    // to an enclosing container nests without end). False when the table is malformed or a bound is
    // exceeded.
    bool admitsBinary(std::string_view data) const;

    // An XML property list, already UTF-8: every element must be closed by its own end tag, and
    // comments, CDATA sections, declarations and processing instructions are stepped over the way
    // libplist steps over them. A tag whose end could be read two ways (a ">" inside quotes) is
    // refused, as is a bound exceeded.
    bool admitsXML(std::string_view text) const;
};

} // namespace velmora
