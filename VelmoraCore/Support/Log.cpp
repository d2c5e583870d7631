#include "Support/Log.hpp"

#include <map>
#include <mutex>
#include <string>
#include <utility>

#ifdef __APPLE__
#include <os/log.h>
#else
#include <syslog.h>
#endif

namespace velmora::Log {

namespace {

struct State {
    std::mutex mutex;
    ScopedSink::Sink sink;
#ifdef __APPLE__
    std::map<std::string, os_log_t, std::less<>> loggers; // os_log objects live for the whole process
#endif
};

State& state() {
    static State instance;
    return instance;
}

#ifdef __APPLE__
os_log_t loggerFor(State& s, std::string_view category) {
    auto found = s.loggers.find(category);
    if (found == s.loggers.end()) {
        const std::string subsystemName(subsystem);
        found = s.loggers
                    .emplace(std::string(category),
                             os_log_create(subsystemName.c_str(), std::string(category).c_str()))
                    .first;
    }
    return found->second;
}

void writeToSystemLog(State& s, Level level, std::string_view category, std::string_view message) {
    const os_log_type_t type = level == Level::error  ? OS_LOG_TYPE_ERROR
                               : level == Level::info ? OS_LOG_TYPE_INFO
                                                      : OS_LOG_TYPE_DEBUG;
    const std::string text(message);
    os_log_with_type(loggerFor(s, category), type, "%{public}s", text.c_str());
}
#else
void writeToSystemLog(State&, Level level, std::string_view category, std::string_view message) {
    const int priority = level == Level::error ? LOG_ERR : level == Level::info ? LOG_INFO : LOG_DEBUG;
    // syslog has no subsystem field, so subsystem and category lead the message.
    syslog(LOG_USER | priority, "[%.*s:%.*s] %.*s", static_cast<int>(subsystem.size()), subsystem.data(),
           static_cast<int>(category.size()), category.data(), static_cast<int>(message.size()),
           message.data());
}
#endif

} // namespace

void write(Level level, std::string_view category, std::string_view message) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    if (s.sink)
        s.sink(level, category, message);
    else
        writeToSystemLog(s, level, category, message);
}

ScopedSink::ScopedSink(Sink sink) {
    State& s = state();
    std::lock_guard lock(s.mutex);
    previous_ = std::exchange(s.sink, std::move(sink));
}

ScopedSink::~ScopedSink() {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.sink = std::move(previous_);
}

} // namespace velmora::Log
