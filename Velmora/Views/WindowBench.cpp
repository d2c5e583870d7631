#include "Views/WindowBench.hpp"

#include "App/AppModel.hpp"
#include "Views/MainWindow.hpp"

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEvent>
#include <QTabWidget>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

namespace velmora::WindowBench {

namespace {

bool enabled(const char* name) {
    const char* value = std::getenv(name);
    return value && *value && std::string_view(value) != "0";
}

void say(const QString& line) {
    std::fprintf(stderr, "bench %s\n", line.toUtf8().constData());
    std::fflush(stderr);
}

double processCpuMs() {
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1000.0 + static_cast<double>(used.tv_nsec) / 1e6;
}

// The show event says the window was asked onto the screen; its first paint says it is there.
class FirstShow final : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show && !shown_) {
            shown_ = true;
            say(QStringLiteral("shown-at-epoch-ms %1").arg(QDateTime::currentMSecsSinceEpoch()));
        } else if (event->type() == QEvent::Paint && shown_) {
            say(QStringLiteral("painted-at-epoch-ms %1").arg(QDateTime::currentMSecsSinceEpoch()));
            watched->removeEventFilter(this);
            deleteLater();
        }
        return false;
    }

private:
    bool shown_ = false;
};

// Runs the measurements after the first scan, one after the other, then closes the window.
struct Session {
    MainWindow& window;
    AppModel& model;
    AppModel::Observation observation;
    QElapsedTimer sinceTick;
    QElapsedTimer scan;
    qint64 maxGap = 0;
    qint64 ticks = 0;
    bool scanSeen = false;
    bool finished = false;

    void afterScan() {
        if (enabled("VELMORA_BENCH_HEARTBEAT")) {
            say(QStringLiteral("scan-ms %1").arg(scan.elapsed()));
            say(QStringLiteral("heartbeat-max-gap-ms %1").arg(maxGap));
            say(QStringLiteral("heartbeat-ticks %1").arg(ticks));
        }
        if (enabled("VELMORA_BENCH_TABS")) {
            auto* tabs = window.tabs();
            for (int round = 0; round < 5; ++round)
                for (int index = 0; index < tabs->count(); ++index) {
                    const int next = (tabs->currentIndex() + 1) % tabs->count();
                    QElapsedTimer timer;
                    timer.start();
                    tabs->setCurrentIndex(next);
                    window.repaint();
                    say(QStringLiteral("tab-switch-ms %1 %2")
                            .arg(tabs->tabText(next))
                            .arg(static_cast<double>(timer.nsecsElapsed()) / 1e6, 0, 'f', 2));
                }
        }
        const int seconds =
            std::getenv("VELMORA_BENCH_SAMPLING") ? std::atoi(std::getenv("VELMORA_BENCH_SAMPLING")) : 0;
        if (seconds <= 0) {
            done();
            return;
        }
        window.tabs()->setCurrentIndex(static_cast<int>(AppTab::performance));
        measureSampling(seconds);
    }

    // The folders the search indexes are looked for on the tab's first show, once per run; that walk is
    // not the sampling's cost, so the clock starts when it is over.
    void measureSampling(int seconds) {
        if (!model.indexingHints() && model.deps().indexingAdvice) {
            QTimer::singleShot(100, &window, [this, seconds] { measureSampling(seconds); });
            return;
        }
        const double shownStart = processCpuMs();
        QTimer::singleShot(seconds * 1000, &window, [this, seconds, shownStart] {
            say(QStringLiteral("cpu-ms-shown %1 over-s %2")
                    .arg(processCpuMs() - shownStart, 0, 'f', 1)
                    .arg(seconds));
            window.tabs()->setCurrentIndex(static_cast<int>(AppTab::storage));
            const double hiddenStart = processCpuMs();
            QTimer::singleShot(seconds * 1000, &window, [this, seconds, hiddenStart] {
                say(QStringLiteral("cpu-ms-hidden %1 over-s %2")
                        .arg(processCpuMs() - hiddenStart, 0, 'f', 1)
                        .arg(seconds));
                done();
            });
        });
    }

    void done() {
        say(QStringLiteral("done"));
        window.close();
    }
};

} // namespace

void install(MainWindow& window, AppModel& model) {
    if (enabled("VELMORA_BENCH_STARTUP"))
        window.installEventFilter(new FirstShow(&window));
    if (!enabled("VELMORA_BENCH_HEARTBEAT") && !enabled("VELMORA_BENCH_TABS") &&
        !std::getenv("VELMORA_BENCH_SAMPLING"))
        return;
    auto session = std::make_shared<Session>(Session{window, model, {}, {}, {}, 0, 0, false, false});
    auto* heartbeat = new QTimer(&window);
    heartbeat->setInterval(10);
    heartbeat->setTimerType(Qt::PreciseTimer);
    QObject::connect(heartbeat, &QTimer::timeout, &window, [session] {
        if (session->sinceTick.isValid() && session->scanSeen && !session->finished)
            session->maxGap = std::max(session->maxGap, session->sinceTick.elapsed());
        ++session->ticks;
        session->sinceTick.start();
    });
    heartbeat->start();
    session->observation = model.observe([session](AppModel::Property property) {
        if (property != AppModel::Property::isScanning || session->finished)
            return;
        if (session->model.isScanning()) {
            session->scanSeen = true;
            session->scan.start();
            session->ticks = 0;
        } else if (session->scanSeen) {
            session->finished = true;
            // Out of the observer: the measurements switch tabs, which the model tells observers about.
            QTimer::singleShot(0, &session->window, [session] { session->afterScan(); });
        }
    });
    // The window owns the session through the timer's connection; it ends with the window.
}

} // namespace velmora::WindowBench
