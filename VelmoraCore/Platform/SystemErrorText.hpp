// The one place where a system error number becomes the German text a user sees next to an item.
#pragma once

#include <string>

namespace velmora {

// A short German sentence for `code` (an errno value). The errors a removal meets every day
// (permissions, read-only volume, busy, full) have our own wording; any other error keeps the system's
// text, prefixed so that the user still sees it came from the system.
std::string systemErrorText(int code);

} // namespace velmora
