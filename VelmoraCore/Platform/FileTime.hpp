#pragma once

// File times on the clock the rest of the program uses. The one place that knows how each system
// spells them: macOS names the fields st_mtimespec, Linux st_mtim, and system_clock counts
// microseconds in libc++ but nanoseconds in libstdc++.

#include <chrono>
#include <ctime>

#include <sys/stat.h>

namespace velmora {

std::chrono::system_clock::time_point timePointOf(const struct timespec& time);
std::chrono::system_clock::time_point modificationTime(const struct stat& st);

} // namespace velmora
