#include "Platform/ProcessCommandRunner.hpp"

#include "Platform/SystemErrorText.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __APPLE__
#include <crt_externs.h>
#else
extern char** environ;
#endif

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// The one place where a system error number becomes a runner error.
CommandError launchError(int error) {
    return CommandError{CommandError::Kind::launchFailed, launchErrorText(error)};
}

char** parentEnvironment() {
#ifdef __APPLE__
    return *_NSGetEnviron();
#else
    return environ;
#endif
}

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return fd_; }
    bool isOpen() const { return fd_ >= 0; }
    void reset() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_ = -1;
};

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

// Both ends close on exec (so concurrent runs never leak pipes into each other's children) and sit
// above 2, so that moving the write ends onto the child's 1 and 2 can never collide.
std::expected<Pipe, int> makePipe() {
    int fds[2];
#ifdef __linux__
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return std::unexpected(errno);
#else
    if (::pipe(fds) != 0)
        return std::unexpected(errno);
    for (int fd : fds)
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
#endif
    FileDescriptor ends[2] = {FileDescriptor(fds[0]), FileDescriptor(fds[1])};
    for (auto& end : ends) {
        if (end.get() > 2)
            continue;
        const int moved = ::fcntl(end.get(), F_DUPFD_CLOEXEC, 3);
        if (moved < 0)
            return std::unexpected(errno);
        end = FileDescriptor(moved);
    }
    return Pipe{std::move(ends[0]), std::move(ends[1])};
}

void setNonBlocking(const FileDescriptor& fd) {
    const int flags = ::fcntl(fd.get(), F_GETFL);
    if (flags >= 0)
        ::fcntl(fd.get(), F_SETFL, flags | O_NONBLOCK);
}

// Some systems report a failed exec only through exit status 127 of the child, so what can be
// checked beforehand is checked here, with the error exec itself would give.
int executableError(const std::filesystem::path& executable) {
    struct stat info {};
    if (::stat(executable.c_str(), &info) != 0)
        return errno;
    if (!S_ISREG(info.st_mode))
        return EACCES;
    if (::access(executable.c_str(), X_OK) != 0)
        return errno;
    return 0;
}

class SpawnSetup {
public:
    SpawnSetup() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

int prepareSpawn(SpawnSetup& setup, int outWrite, int errWrite) {
    int rc = ::posix_spawn_file_actions_addopen(&setup.actions, 0, "/dev/null", O_RDONLY, 0);
    if (rc == 0)
        rc = ::posix_spawn_file_actions_adddup2(&setup.actions, outWrite, 1);
    if (rc == 0)
        rc = ::posix_spawn_file_actions_adddup2(&setup.actions, errWrite, 2);
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    // Descriptors other libraries opened without close-on-exec stay out of the child too.
    if (rc == 0)
        rc = ::posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3);
#endif
    if (rc != 0)
        return rc;

    short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#ifdef __APPLE__
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
    // Ignored signals survive exec; the child should start with the defaults a shell would give it.
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD, SIGTSTP,
                    SIGTTIN, SIGTTOU, SIGXCPU, SIGXFSZ})
        sigaddset(&defaults, sig);
    sigset_t noneBlocked;
    sigemptyset(&noneBlocked);
    rc = ::posix_spawnattr_setflags(&setup.attributes, flags);
    if (rc == 0)
        rc = ::posix_spawnattr_setpgroup(&setup.attributes, 0);
    if (rc == 0)
        rc = ::posix_spawnattr_setsigdefault(&setup.attributes, &defaults);
    if (rc == 0)
        rc = ::posix_spawnattr_setsigmask(&setup.attributes, &noneBlocked);
    return rc;
}

// Owns a started child until it has been reaped; whatever path `run` leaves by, no zombie and no
// running child stays behind.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (!reaped_) {
            signal(SIGKILL);
            waitBlocking();
        }
    }

    pid_t pid() const { return pid_; }
    bool reaped() const { return reaped_; }
    int status() const { return status_; }

    // The group reaches the child's helpers; the pid is only used while it cannot have been reused.
    void signal(int sig) const {
        ::kill(-pid_, sig);
        if (!reaped_)
            ::kill(pid_, sig);
    }

    bool tryReap() {
        if (reaped_)
            return true;
        int status = 0;
        pid_t rc;
        do {
            rc = ::waitpid(pid_, &status, WNOHANG);
        } while (rc < 0 && errno == EINTR);
        if (rc == pid_ || (rc < 0 && errno == ECHILD)) {
            reaped_ = true;
            status_ = status;
        }
        return reaped_;
    }

    void waitBlocking() {
        int status = 0;
        pid_t rc;
        do {
            rc = ::waitpid(pid_, &status, 0);
        } while (rc < 0 && errno == EINTR);
        reaped_ = true;
        status_ = status;
    }

private:
    pid_t pid_;
    bool reaped_ = false;
    int status_ = 0;
};

std::int32_t exitCodeOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}

Clock::time_point deadlineAfter(Clock::time_point now, std::chrono::nanoseconds delay) {
    if (delay <= 0ns)
        return now;
    if (delay >= Clock::time_point::max() - now)
        return Clock::time_point::max();
    return now + std::chrono::duration_cast<Clock::duration>(delay);
}

int pollMilliseconds(Clock::duration wait) {
    if (wait <= Clock::duration::zero())
        return 0;
    return static_cast<int>(std::min<std::int64_t>(std::chrono::ceil<std::chrono::milliseconds>(wait).count(),
                                                   std::int64_t{3'600'000}));
}

// Collects one output stream of the child until its end.
struct Drain {
    FileDescriptor fd;
    std::string data;

    bool open() const { return fd.isOpen(); }

    // Reads what is there now; closes the descriptor at end-of-file (or on a read error, which ends
    // the stream just the same).
    void readAvailable() {
        std::array<char, 65536> buffer;
        while (fd.isOpen()) {
            const ssize_t n = ::read(fd.get(), buffer.data(), buffer.size());
            if (n > 0) {
                data.append(buffer.data(), static_cast<std::size_t>(n));
            } else if (n < 0 && errno == EINTR) {
                continue;
            } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return;
            } else {
                fd.reset();
            }
        }
    }
};

void discardAvailable(const FileDescriptor& fd) {
    char buffer[64];
    while (::read(fd.get(), buffer, sizeof buffer) > 0) {
    }
}

} // namespace

ProcessCommandRunner::ProcessCommandRunner() : ProcessCommandRunner(Options{}) {}

ProcessCommandRunner::ProcessCommandRunner(Options options) : grace_(options.terminationGrace) {
    std::vector<std::string> parent;
    for (char** entry = parentEnvironment(); entry && *entry; ++entry)
        parent.emplace_back(*entry);
    Environment additions = homebrewQuiet();
    additions.insert(additions.end(), options.extraEnvironment.begin(), options.extraEnvironment.end());
    environment_ = mergedEnvironment(parent, additions);
}

const ProcessCommandRunner::Environment& ProcessCommandRunner::homebrewQuiet() {
    static const Environment additions = {
        {"HOMEBREW_NO_AUTO_UPDATE", "1"},
        {"HOMEBREW_NO_ENV_HINTS", "1"},
        {"HOMEBREW_NO_INSTALL_CLEANUP", "1"},
    };
    return additions;
}

std::vector<std::string> ProcessCommandRunner::mergedEnvironment(const std::vector<std::string>& parent,
                                                                 const Environment& additions) {
    std::vector<std::string> merged = parent;
    for (const auto& [name, value] : additions) {
        const std::string prefix = name + "=";
        std::erase_if(merged, [&](const std::string& entry) { return entry.starts_with(prefix); });
        merged.push_back(prefix + value);
    }
    return merged;
}

std::expected<CommandResult, CommandError>
ProcessCommandRunner::run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                          std::chrono::nanoseconds timeout, StopToken stop) {
    if (stop.stop_requested())
        return std::unexpected(CommandError{CommandError::Kind::cancelled, {}});
    if (const int error = executableError(executable))
        return std::unexpected(launchError(error));

    auto outPipe = makePipe();
    if (!outPipe)
        return std::unexpected(launchError(outPipe.error()));
    auto errPipe = makePipe();
    if (!errPipe)
        return std::unexpected(launchError(errPipe.error()));
    // Wakes the poll loop when the caller cancels, so that it reacts at once.
    auto wakePipe = makePipe();
    if (!wakePipe)
        return std::unexpected(launchError(wakePipe.error()));
    setNonBlocking(outPipe->readEnd);
    setNonBlocking(errPipe->readEnd);
    setNonBlocking(wakePipe->readEnd);
    setNonBlocking(wakePipe->writeEnd);

    SpawnSetup setup;
    if (const int rc = prepareSpawn(setup, outPipe->writeEnd.get(), errPipe->writeEnd.get()))
        return std::unexpected(launchError(rc));

    std::vector<std::string> argumentStorage;
    argumentStorage.reserve(arguments.size() + 1);
    argumentStorage.push_back(executable.string());
    argumentStorage.insert(argumentStorage.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& argument : argumentStorage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (const auto& entry : environment_)
        envp.push_back(const_cast<char*>(entry.c_str()));
    envp.push_back(nullptr);

    pid_t pid = -1;
    if (const int rc = ::posix_spawn(&pid, executable.c_str(), &setup.actions, &setup.attributes, argv.data(),
                                     envp.data()))
        return std::unexpected(launchError(rc));
    Child child(pid);
    // Only the child may hold the write ends, or the end of its output would never be seen.
    outPipe->writeEnd.reset();
    errPipe->writeEnd.reset();

    Drain out{std::move(outPipe->readEnd), {}};
    Drain err{std::move(errPipe->readEnd), {}};
    const int wakeWrite = wakePipe->writeEnd.get();
    StopCallback onStop(stop, [wakeWrite] { [[maybe_unused]] auto ignored = ::write(wakeWrite, "x", 1); });

    enum class Ending { none, timeout, cancelled };
    Ending ending = Ending::none;
    bool killed = false;
    const auto start = Clock::now();
    const auto deadline = deadlineAfter(start, timeout);
    Clock::time_point killAt{};
    Clock::time_point giveUpAt{};
    auto reapTick = 1ms;

    for (;;) {
        const auto now = Clock::now();
        if (ending == Ending::none && (stop.stop_requested() || now >= deadline)) {
            ending = stop.stop_requested() ? Ending::cancelled : Ending::timeout;
            if (ending == Ending::timeout)
                Log::error(
                    "command",
                    fmt::format("{} (pid {}) still running after {} ms; terminating it", executable.string(),
                                pid,
                                std::chrono::duration_cast<std::chrono::milliseconds>(now - start).count()));
            child.signal(SIGTERM);
            killAt = deadlineAfter(now, grace_);
        } else if (ending != Ending::none && !killed && now >= killAt) {
            child.signal(SIGKILL);
            killed = true;
            // Something outside the group may still hold the pipes; that is waited for only briefly.
            giveUpAt = deadlineAfter(now, std::max<std::chrono::nanoseconds>(grace_, 100ms));
        } else if (killed && now >= giveUpAt) {
            break;
        }

        child.tryReap();
        if (child.reaped() && !out.open() && !err.open())
            break;

        const auto nextEvent = ending == Ending::none ? deadline : killed ? giveUpAt : killAt;
        auto wait = nextEvent - now;
        if (!out.open() && !err.open()) {
            // Both streams ended, so the child is exiting (or closed them); look again soon.
            wait = std::min<Clock::duration>(wait, reapTick);
            reapTick = std::min(reapTick * 2, 50ms);
        }

        std::array<pollfd, 3> fds{};
        nfds_t count = 0;
        Drain* drains[2] = {};
        for (Drain* drain : {&out, &err}) {
            if (drain->open()) {
                drains[count] = drain;
                fds[count++] = pollfd{drain->fd.get(), POLLIN, 0};
            }
        }
        const nfds_t wakeIndex = count;
        fds[count++] = pollfd{wakePipe->readEnd.get(), POLLIN, 0};

        // A failed poll (interrupted, or short of memory) is simply tried again; the deadlines above
        // still bound the loop.
        if (::poll(fds.data(), count, pollMilliseconds(wait)) <= 0)
            continue;
        for (nfds_t i = 0; i < wakeIndex; ++i) {
            if (fds[i].revents != 0)
                drains[i]->readAvailable();
        }
        if (fds[wakeIndex].revents != 0)
            discardAvailable(wakePipe->readEnd);
    }

    if (!child.reaped()) {
        child.signal(SIGKILL);
        child.waitBlocking();
    }

    if (ending == Ending::timeout)
        return std::unexpected(CommandError{CommandError::Kind::timeout, {}});
    if (ending == Ending::cancelled || stop.stop_requested())
        return std::unexpected(CommandError{CommandError::Kind::cancelled, {}});
    return CommandResult{exitCodeOf(child.status()), Text::repairUTF8(out.data), Text::repairUTF8(err.data)};
}

} // namespace velmora
