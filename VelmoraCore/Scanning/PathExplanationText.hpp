// The German answer to "why" for one path, as lines: the command line aligns them in columns, the
// window lays them out as a form; both say the same.
#pragma once

#include "Scanning/PathExplanation.hpp"

#include <string>
#include <vector>

namespace velmora {

struct PathExplanationText {
    struct Line {
        std::string label; // "Fund", "Risiko" …; empty for a sentence of its own
        std::string text;
    };
    // The path, printable, with what lies there when it is not a plain object ("(existiert nicht)").
    std::string heading;
    std::vector<Line> lines; // the guard's verdict last

    static PathExplanationText of(const PathExplanation& explanation);
};

} // namespace velmora
