#include "Cli/TopCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Findings/ByteFormat.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <ostream>
#include <poll.h>
#include <sstream>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace velmora::cli {

namespace {

using namespace std::chrono_literals;

constexpr auto refresh = 2000ms;
// Processor shares are differences between two samples; the first one after a short wait already says
// something, so nobody stares at an empty screen for the full refresh.
constexpr auto firstMeasurement = 500ms;
constexpr std::size_t shownApps = 10;

std::string percent(double value) {
    return std::to_string(std::lround(value)) + " %";
}

std::string pressureText(int level) {
    if (level < 2)
        return "normal";
    return level > 3 ? "knapp" : "angespannt";
}

// Right-aligned by characters, not bytes: the unit may be separated by a non-breaking space.
std::string padLeft(std::string text, std::size_t width) {
    const auto characters = static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
    return characters < width ? std::string(width - characters, ' ') + text : text;
}

} // namespace

std::string topText(const PerformanceSnapshot& snapshot, std::size_t appCount) {
    std::ostringstream out;
    if (snapshot.error) {
        out << "Systemwerte nicht lesbar: " << Text::printable(*snapshot.error) << "\n";
    } else if (!snapshot.history.empty()) {
        const auto& system = snapshot.history.back().system;
        out << "Prozessor: " << percent(system.cpuPercent) << " ausgelastet";
        if (system.cpuCount > 0)
            out << " (" << system.cpuCount << (system.cpuCount == 1 ? " Kern)" : " Kerne)");
        out << "\nArbeitsspeicher: " << ByteFormat::memory(system.memoryUsed) << " von "
            << ByteFormat::memory(system.memoryTotal)
            << " belegt, Druck: " << pressureText(system.pressureLevel) << "\n";
        if (system.swapTotal <= 0 && system.swapUsed <= 0)
            out << "Auslagerung: nicht eingerichtet\n";
        else
            out << "Auslagerung: " << ByteFormat::memory(system.swapUsed) << " von "
                << ByteFormat::memory(system.swapTotal) << " belegt\n";
    }
    out << "\nProgramme mit der meisten Rechenzeit:\n";
    if (snapshot.apps.empty())
        out << "  keine gefunden\n";
    for (std::size_t i = 0; i < snapshot.apps.size() && i < appCount; ++i) {
        const auto& app = snapshot.apps[i];
        out << padLeft(percent(app.cpuPercent), 7) << padLeft(ByteFormat::memory(app.memory), 12) << "  "
            << Text::printable(app.name) << (app.isSystem ? " (System)" : "") << "\n";
    }
    if (snapshot.hints.empty()) {
        out << "\nKeine Auffälligkeiten.\n";
    } else {
        out << "\nHinweise:\n";
        for (const auto& hint : snapshot.hints)
            out << "  " << Text::printable(hint.title) << "\n    " << Text::printable(hint.text) << "\n";
    }
    return out.str();
}

std::string topJson(const PerformanceSnapshot& snapshot, int indent) {
    nlohmann::ordered_json system = nullptr;
    if (!snapshot.error && !snapshot.history.empty()) {
        const auto& sample = snapshot.history.back().system;
        system = {{"cpuPercent", sample.cpuPercent},   {"memoryUsed", sample.memoryUsed},
                  {"memoryTotal", sample.memoryTotal}, {"pressureLevel", sample.pressureLevel},
                  {"swapUsed", sample.swapUsed},       {"swapTotal", sample.swapTotal}};
    }
    auto apps = nlohmann::ordered_json::array();
    for (const auto& app : snapshot.apps)
        apps.push_back({{"id", app.id},
                        {"name", app.name},
                        {"cpuPercent", app.cpuPercent},
                        {"memory", app.memory},
                        {"isSystem", app.isSystem},
                        {"canQuit", app.canQuit}});
    auto hints = nlohmann::ordered_json::array();
    for (const auto& hint : snapshot.hints)
        hints.push_back({{"id", hint.id}, {"title", hint.title}, {"text", hint.text}});
    const nlohmann::ordered_json document = {{"system", system}, {"apps", apps}, {"hints", hints}};
    // Process names are bytes the kernel keeps; JSON cannot carry those that are not UTF-8.
    return document.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

CLI::App* addTopCommand(CLI::App& app, TopOptions& options) {
    auto* command = app.add_subcommand("top", "Zeigt, was den Rechner gerade ausbremst (alle 2 s neu)");
    command->add_flag("--once", options.once, "Einmal über eine halbe Sekunde messen und enden");
    command->add_flag("--json", options.json, "Als JSON ausgeben (ein Objekt pro Messung)");
    command->add_option("--count", options.count, "Nach so vielen Messungen enden")
        ->option_text("N")
        ->check(CLI::PositiveNumber);
    return command;
}

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void onInterrupt(int) {
    interrupted = 1;
}

// Keystrokes arrive one by one and unechoed while the view runs; the terminal and the signal handlers
// are put back however the view ends. Ctrl-C and friends only set a flag the loop looks at.
class TerminalSession {
public:
    TerminalSession() {
        interrupted = 0;
        if (::tcgetattr(STDIN_FILENO, &saved_) == 0) {
            termios keys = saved_;
            keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            keys.c_cc[VMIN] = 0;
            keys.c_cc[VTIME] = 0;
            restore_ = ::tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0;
        }
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        ::sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < signals.size(); ++i)
            ::sigaction(signals[i], &action, &previous_[i]);
    }
    ~TerminalSession() {
        if (restore_)
            ::tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
        for (std::size_t i = 0; i < signals.size(); ++i)
            ::sigaction(signals[i], &previous_[i], nullptr);
    }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    // Waits until `deadline` for a key; true when the user asked to quit (q, Q, Ctrl-C, a hang-up).
    bool quitRequested(std::chrono::steady_clock::time_point deadline) const {
        while (!interrupted) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left <= 0ms)
                return false;
            pollfd input{STDIN_FILENO, POLLIN, 0};
            const int ready = ::poll(&input, 1, static_cast<int>(left.count()));
            if (ready < 0 && errno != EINTR)
                return true;
            if (ready <= 0)
                continue;
            if ((input.revents & (POLLHUP | POLLERR)) != 0)
                return true;
            char key = 0;
            const auto got = ::read(STDIN_FILENO, &key, 1);
            if (got == 0)
                return true; // end of input: nobody left to press q
            if (got == 1 && (key == 'q' || key == 'Q'))
                return true;
        }
        return true;
    }

private:
    static constexpr std::array<int, 3> signals{SIGINT, SIGTERM, SIGHUP};
    termios saved_{};
    bool restore_ = false;
    std::array<struct sigaction, 3> previous_{};
};

int runLive(PerformanceModel& model, std::ostream& out) {
    TerminalSession session;
    // The alternate screen keeps the user's scrollback as it was; the cursor is hidden meanwhile.
    out << "\x1b[?1049h\x1b[?25l" << std::flush;
    struct Leave {
        std::ostream& out;
        ~Leave() { out << "\x1b[?25h\x1b[?1049l" << std::flush; }
    } leave{out};
    auto next = std::chrono::steady_clock::now() + firstMeasurement;
    while (!session.quitRequested(next)) {
        model.sample();
        next = std::chrono::steady_clock::now() + refresh;
        out << "\x1b[H\x1b[J"
            << "Velmora 2 – Leistung (q beendet)\n\n"
            << topText(model.snapshot(), shownApps) << std::flush;
    }
    return exitOK;
}

} // namespace

int runTopCommand(const TopOptions& options, const RunSetting& setting, std::ostream& out, std::ostream& err,
                  bool terminal) {
    auto dependencies = std::optional(LiveEnvironment(setting).appDependencies().performance);
    if (!dependencies->system || !dependencies->processes || !dependencies->aggregate || !dependencies->now) {
        err << "velmora: Die Leistung kann auf diesem System nicht gemessen werden.\n";
        return exitFailure;
    }
    const auto pause = setting.overrides.pause
                           ? setting.overrides.pause
                           : std::function<void(std::chrono::milliseconds)>(
                                 [](std::chrono::milliseconds d) { std::this_thread::sleep_for(d); });
    PerformanceModel model(std::move(*dependencies), {.interval = refresh, .topCount = shownApps});
    model.sample(); // the counters the first difference starts from

    if (terminal && !options.once && !options.json && !options.count)
        return runLive(model, out);

    const int count = options.once ? 1 : options.count.value_or(0);
    for (int printed = 0; count == 0 || printed < count; ++printed) {
        pause(printed == 0 ? firstMeasurement : refresh);
        model.sample();
        const auto snapshot = model.snapshot();
        if (options.once && snapshot.error) {
            err << "velmora: Systemwerte nicht lesbar: " << Text::printable(*snapshot.error) << "\n";
            return exitFailure;
        }
        if (options.json)
            out << topJson(snapshot, options.once ? 2 : -1) << "\n";
        else
            out << (printed == 0 ? "" : "\n") << topText(snapshot, shownApps);
        out << std::flush;
        if (!out)
            return exitFailure;
    }
    return exitOK;
}

} // namespace velmora::cli
