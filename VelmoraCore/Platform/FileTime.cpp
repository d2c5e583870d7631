#include "Platform/FileTime.hpp"

namespace velmora {

std::chrono::system_clock::time_point timePointOf(const struct timespec& time) {
    using Clock = std::chrono::system_clock;
    // Truncating to the clock's period is right for comparisons with "older than N days".
    return Clock::time_point{std::chrono::duration_cast<Clock::duration>(
        std::chrono::seconds{time.tv_sec} + std::chrono::nanoseconds{time.tv_nsec})};
}

std::chrono::system_clock::time_point modificationTime(const struct stat& st) {
#ifdef __APPLE__
    return timePointOf(st.st_mtimespec);
#else
    return timePointOf(st.st_mtim);
#endif
}

} // namespace velmora
