// The one place where a system error number becomes the German text a user sees, next to an item or
// in a command's failure.
#pragma once

#include <string>

namespace velmora {

// A short German sentence for `code` (an errno value). The errors a removal meets every day
// (permissions, read-only volume, busy, full) have our own wording; any other error keeps the system's
// text, prefixed so that the user still sees it came from the system.
std::string systemErrorText(int code);

// Why an external program could not be started (`code` from stat, access, pipe or posix_spawn), in
// German: the launch errors have their own wording, the everyday ones share the table above, and
// anything else names its number, never the system's English text.
std::string launchErrorText(int code);

} // namespace velmora
