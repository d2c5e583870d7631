// Diagnostic logging for the core: entries go to the system log (os_log on macOS, syslog elsewhere)
// under the subsystem "de.tobrenlux.velmora2" and a category; the core never prints to stdout/stderr.
#pragma once

#include <functional>
#include <string_view>

namespace velmora::Log {

inline constexpr std::string_view subsystem = "de.tobrenlux.velmora2";

enum class Level { debug, info, error };

constexpr std::string_view levelName(Level level) {
    switch (level) {
    case Level::debug:
        return "debug";
    case Level::info:
        return "info";
    case Level::error:
        return "error";
    }
    return "error";
}

// Thread-safe. `category` names the part of the core that writes ("command", "scan" …).
void write(Level level, std::string_view category, std::string_view message);

inline void debug(std::string_view category, std::string_view message) {
    write(Level::debug, category, message);
}
inline void info(std::string_view category, std::string_view message) {
    write(Level::info, category, message);
}
inline void error(std::string_view category, std::string_view message) {
    write(Level::error, category, message);
}

// While an instance lives, entries go to `sink` instead of the system log, so that tests can read
// what was logged without writing into the machine's log. Instances nest; the newest one wins.
class ScopedSink {
public:
    using Sink = std::function<void(Level, std::string_view category, std::string_view message)>;

    explicit ScopedSink(Sink sink);
    ~ScopedSink();
    ScopedSink(const ScopedSink&) = delete;
    ScopedSink& operator=(const ScopedSink&) = delete;

private:
    Sink previous_;
};

} // namespace velmora::Log
