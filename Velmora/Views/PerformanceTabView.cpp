#include "Views/PerformanceTabView.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/LiveGraph.hpp"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace velmora {

namespace {

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

// Names and texts come from the running system; a label must never read them as markup.
QLabel* plainLabel(const QString& text = {}) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    return label;
}

QLabel* heading(const QString& text) {
    auto* label = plainLabel(text);
    QFont font = label->font();
    font.setBold(true);
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 1.15);
    label->setFont(font);
    return label;
}

QString percent(double value) {
    return QStringLiteral("%1 %").arg(std::lround(value));
}

QString pressureText(int level) {
    if (level < 2)
        return QStringLiteral("normal");
    return level > 3 ? QStringLiteral("knapp") : QStringLiteral("angespannt");
}

LiveGraph::Emphasis pressureEmphasis(int level) {
    if (level < 2)
        return LiveGraph::Emphasis::normal;
    return level > 3 ? LiveGraph::Emphasis::critical : LiveGraph::Emphasis::raised;
}

double share(std::int64_t part, std::int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

// A rounded card in an accent colour that reads in light and dark appearance alike: only the tint and
// the border carry the colour, the text keeps the palette's.
QFrame* card(const QString& title, const QString& text, const char* accent) {
    auto* frame = new QFrame;
    frame->setObjectName(QStringLiteral("card"));
    frame->setStyleSheet(QStringLiteral("QFrame#card { background: rgba(%1, 0.14); border: 1px solid "
                                        "rgba(%1, 0.55); border-radius: 8px; }")
                             .arg(QLatin1String(accent)));
    frame->setAccessibleName(title);
    frame->setAccessibleDescription(text);
    auto* layout = new QVBoxLayout(frame);
    auto* titleLabel = plainLabel(title);
    QFont bold = titleLabel->font();
    bold.setBold(true);
    titleLabel->setFont(bold);
    titleLabel->setWordWrap(true);
    auto* textLabel = plainLabel(text);
    textLabel->setWordWrap(true);
    textLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(titleLabel);
    layout->addWidget(textLabel);
    return frame;
}

constexpr const char* warningAccent = "224, 138, 30";
constexpr const char* infoAccent = "52, 120, 220";

void clearCards(QVBoxLayout* layout) {
    while (auto* item = layout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
}

} // namespace

PerformanceTabView::PerformanceTabView(AppModel& model, QWidget* parent)
    : QWidget(parent), model_(model), performance_(model.performance()) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    outer->addWidget(scroll);
    auto* content = new QWidget;
    scroll->setWidget(content);
    auto* layout = new QVBoxLayout(content);

    error_ = plainLabel();
    error_->setWordWrap(true);
    error_->setObjectName(QStringLiteral("error"));
    error_->setStyleSheet(
        QStringLiteral("QLabel#error { background: rgba(214, 69, 65, 0.16); border: 1px "
                       "solid rgba(214, 69, 65, 0.6); border-radius: 8px; padding: 8px; }"));
    error_->hide();
    layout->addWidget(error_);

    auto* graphs = new QHBoxLayout;
    processor_ = new LiveGraph(QStringLiteral("Prozessor"));
    memory_ = new LiveGraph(QStringLiteral("Arbeitsspeicher"));
    swap_ = new LiveGraph(QStringLiteral("Auslagerung"));
    for (auto* graph : {processor_, memory_, swap_}) {
        graph->setSpanSeconds(600);
        graphs->addWidget(graph);
    }
    layout->addLayout(graphs);

    layout->addSpacing(fontMetrics().height() / 2);
    layout->addWidget(heading(QStringLiteral("Hinweise")));
    noHints_ = plainLabel(QStringLiteral("Keine Auffälligkeiten."));
    layout->addWidget(noHints_);
    hintCards_ = new QVBoxLayout;
    layout->addLayout(hintCards_);

    auto* lists = new QHBoxLayout;
    lists->addWidget(makeAppList(QStringLiteral("Meiste Rechenzeit"), byProcessor_), 1);
    lists->addWidget(makeAppList(QStringLiteral("Größter Speicherbedarf"), byMemory_), 1);
    layout->addSpacing(fontMetrics().height() / 2);
    layout->addLayout(lists);
    quitStatus_ = plainLabel();
    quitStatus_->setWordWrap(true);
    quitStatus_->hide();
    layout->addWidget(quitStatus_);

    layout->addSpacing(fontMetrics().height() / 2);
    layout->addWidget(heading(QStringLiteral("Suchindex")));
    indexingStatus_ = plainLabel();
    indexingStatus_->setWordWrap(true);
    layout->addWidget(indexingStatus_);
    indexingCards_ = new QVBoxLayout;
    layout->addLayout(indexingCards_);
    layout->addStretch(1);

    observation_ = model_.observe([this](AppModel::Property property) {
        if (property == AppModel::Property::indexingHints)
            showIndexing();
    });
    performanceObserver_ = performance_.addObserver([this] {
        if (!refreshQueued_.exchange(true))
            QMetaObject::invokeMethod(
                this,
                [this] {
                    refreshQueued_ = false;
                    refresh();
                },
                Qt::QueuedConnection);
    });
    showIndexing();
    refresh();
}

PerformanceTabView::~PerformanceTabView() {
    // The window may go while the tab is shown; no sample may reach a view that is gone.
    performance_.stop();
    performance_.removeObserver(performanceObserver_);
}

void PerformanceTabView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    model_.performanceTabShown();
    const auto& deps = model_.deps().performance;
    if (deps.system && deps.processes && deps.aggregate && deps.now) {
        performance_.start();
    } else {
        error_->setText(QStringLiteral("Die Leistung kann auf diesem System nicht gemessen werden."));
        error_->show();
    }
}

void PerformanceTabView::hideEvent(QHideEvent* event) {
    performance_.stop();
    QWidget::hideEvent(event);
}

QWidget* PerformanceTabView::makeAppList(const QString& title, std::vector<AppRow>& rows) {
    auto* box = new QWidget;
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(heading(title), 0, 0, 1, 3);
    grid->setColumnStretch(0, 1);
    rows.resize(10);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto& row = rows[i];
        row.name = plainLabel();
        row.value = plainLabel();
        row.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        row.quit = new QPushButton(QStringLiteral("Beenden"));
        row.quit->setAutoDefault(false);
        const int line = static_cast<int>(i) + 1;
        grid->addWidget(row.name, line, 0);
        grid->addWidget(row.value, line, 1);
        grid->addWidget(row.quit, line, 2);
        connect(row.quit, &QPushButton::clicked, this, [this, &rows, i] { quit(rows[i].entry); });
        row.name->hide();
        row.value->hide();
        row.quit->hide();
    }
    box->setAccessibleName(title);
    return box;
}

void PerformanceTabView::refresh() {
    const auto snapshot = performance_.snapshot();
    error_->setVisible(snapshot.error.has_value());
    if (snapshot.error)
        error_->setText(QStringLiteral("Systemwerte nicht lesbar: ") + qs(*snapshot.error));
    showGraphs(snapshot);
    showHints(snapshot.hints);
    showApps(snapshot.topByProcessor, Ranking::processor, byProcessor_);
    showApps(snapshot.topByMemory, Ranking::memory, byMemory_);
}

void PerformanceTabView::showGraphs(const PerformanceSnapshot& snapshot) {
    const auto& history = snapshot.history;
    if (history.empty()) {
        for (auto* graph : {processor_, memory_, swap_})
            graph->setPoints({}, QStringLiteral("Wird gemessen …"));
        return;
    }
    // "Now" is the newest sample, so the graphs read the same whatever clock stamped them.
    const auto newest = history.back().at;
    const auto ago = [&](const TimedSystemSample& sample) {
        return std::chrono::duration<double>(newest - sample.at).count();
    };
    std::int64_t swapPeak = 0;
    for (const auto& sample : history)
        swapPeak = std::max(swapPeak, sample.system.swapUsed);
    std::vector<LiveGraph::Point> cpu, memory, swap;
    for (const auto& sample : history) {
        const auto& s = sample.system;
        cpu.push_back({ago(sample), s.cpuPercent / 100.0, LiveGraph::Emphasis::normal});
        memory.push_back(
            {ago(sample), share(s.memoryUsed, s.memoryTotal), pressureEmphasis(s.pressureLevel)});
        // Swap that grows on demand has no fixed size; then the largest use in view fills the height.
        swap.push_back({ago(sample), share(s.swapUsed, s.swapTotal > 0 ? s.swapTotal : swapPeak),
                        LiveGraph::Emphasis::normal});
    }
    const auto& now = history.back().system;
    QString cpuCaption = percent(now.cpuPercent) + QStringLiteral(" ausgelastet");
    if (now.cpuCount > 0)
        cpuCaption +=
            now.cpuCount == 1 ? QStringLiteral(" · 1 Kern") : QStringLiteral(" · %1 Kerne").arg(now.cpuCount);
    processor_->setPoints(std::move(cpu), cpuCaption);
    memory_->setPoints(std::move(memory), qs(ByteFormat::memory(now.memoryUsed)) + QStringLiteral(" von ") +
                                              qs(ByteFormat::memory(now.memoryTotal)) +
                                              QStringLiteral(" belegt · Druck: ") +
                                              pressureText(now.pressureLevel));
    if (now.swapTotal <= 0 && now.swapUsed <= 0)
        swap_->setPoints(std::move(swap), QStringLiteral("Nicht eingerichtet"));
    else if (now.swapTotal <= 0)
        swap_->setPoints(std::move(swap), qs(ByteFormat::memory(now.swapUsed)) + QStringLiteral(" belegt"));
    else
        swap_->setPoints(std::move(swap), qs(ByteFormat::memory(now.swapUsed)) + QStringLiteral(" von ") +
                                              qs(ByteFormat::memory(now.swapTotal)) +
                                              QStringLiteral(" belegt"));
}

void PerformanceTabView::showHints(const std::vector<SlowdownHint>& hints) {
    noHints_->setVisible(hints.empty());
    // Rebuilt only when they change: a card under the reader's eyes stays put between samples.
    if (hints == shownHints_)
        return;
    shownHints_ = hints;
    clearCards(hintCards_);
    for (const auto& hint : hints)
        hintCards_->addWidget(card(qs(hint.title), qs(hint.text), warningAccent));
}

void PerformanceTabView::showApps(const std::vector<ActivityEntry>& apps, Ranking ranking,
                                  std::vector<AppRow>& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto& row = rows[i];
        const bool used = i < apps.size();
        row.name->setVisible(used);
        row.value->setVisible(used);
        if (!used) {
            row.quit->setVisible(false);
            row.entry = {};
            continue;
        }
        row.entry = apps[i];
        const QString name = qs(row.entry.name);
        row.name->setText(row.entry.isSystem ? name + QStringLiteral(" (System)") : name);
        row.value->setText(ranking == Ranking::processor ? percent(row.entry.cpuPercent)
                                                         : qs(ByteFormat::memory(row.entry.memory)));
        row.quit->setVisible(row.entry.canQuit);
        row.quit->setAccessibleName(QStringLiteral("„%1“ beenden").arg(name));
    }
}

void PerformanceTabView::showIndexing() {
    const auto& hints = model_.indexingHints();
    clearCards(indexingCards_);
    if (!hints) {
        indexingStatus_->setText(QStringLiteral("Die Entwicklerordner im Suchindex werden gesucht …"));
        return;
    }
    indexingStatus_->setText(hints->empty()
                                 ? QStringLiteral("Keine großen Entwicklerordner, die der Suchindex "
                                                  "immer wieder neu einliest.")
                                 : QStringLiteral("Diese Ordner liest der Suchindex nach jedem Build neu "
                                                  "ein – das kostet Rechenzeit:"));
    for (const auto& hint : *hints)
        indexingCards_->addWidget(card(qs(hint.title), qs(hint.text), infoAccent));
}

void PerformanceTabView::quit(const ActivityEntry& entry) {
    if (!entry.canQuit)
        return;
    const QString name = qs(entry.name);
    quitStatus_->setText(model_.terminate(entry.id)
                             ? QStringLiteral("„%1“ wurde gebeten, sich zu beenden.").arg(name)
                             : QStringLiteral("„%1“ ließ sich nicht beenden.").arg(name));
    quitStatus_->show();
}

} // namespace velmora
