#include "Views/SectionWidgets.hpp"

#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLocale>
#include <QPalette>

namespace velmora::SectionWidgets {

namespace {

QColor accent(BannerKind kind) {
    switch (kind) {
    case BannerKind::info:
        return QColor(0x2f, 0x7d, 0xd8);
    case BannerKind::warning:
        return QColor(0xe0, 0x8a, 0x00);
    case BannerKind::error:
        return QColor(0xd0, 0x3b, 0x30);
    }
    return {};
}

QColor riskColour(Risk risk) {
    switch (risk) {
    case Risk::safe:
        return QColor(0x2e, 0x9d, 0x4a);
    case Risk::review:
        return QColor(0xe0, 0x8a, 0x00);
    case Risk::hintOnly:
        return QColor(0x6b, 0x7f, 0x99);
    }
    return {};
}

QLabel* pill(const QString& text, const QColor& colour, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    // White on the saturated accent reads in both appearances.
    label->setStyleSheet(QStringLiteral("QLabel { background: %1; color: white; border-radius: 7px; "
                                        "padding: 1px 7px; }")
                             .arg(colour.name()));
    label->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    return label;
}

} // namespace

QString qstr(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString shown(std::string_view outside) {
    return qstr(Text::printable(outside));
}

QString sizeText(const std::optional<std::int64_t>& bytes) {
    return bytes ? qstr(ByteFormat::fileSize(*bytes)) : QStringLiteral("Größe unbekannt");
}

QString dateTime(std::chrono::system_clock::time_point date) {
    const auto msecs = std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch()).count();
    return QLocale(QLocale::German, QLocale::Germany)
        .toString(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(msecs)),
                  QStringLiteral("dd.MM.yyyy HH:mm"));
}

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    label->setFont(font);
    label->setAccessibleName(text);
    return label;
}

QLabel* wrapped(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QLabel* secondary(const QString& text, QWidget* parent) {
    auto* label = wrapped(text, parent);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.92);
    label->setFont(font);
    return label;
}

QFrame* banner(BannerKind kind, const QString& text, QWidget* parent) {
    auto* frame = new QFrame(parent);
    const QColor colour = accent(kind);
    // A thin tint of the accent over the window colour keeps the palette's text readable.
    QColor tint = colour;
    tint.setAlpha(45);
    frame->setObjectName(QStringLiteral("banner"));
    frame->setStyleSheet(QStringLiteral("QFrame#banner { background: %1; border: 1px solid %2; "
                                        "border-radius: 8px; }")
                             .arg(tint.name(QColor::HexArgb), colour.name()));
    auto* layout = new QHBoxLayout(frame);
    layout->setContentsMargins(10, 8, 10, 8);
    auto* label = wrapped(text, frame);
    layout->addWidget(label);
    frame->setAccessibleName(text);
    return frame;
}

QLabel* riskPill(Risk risk, QWidget* parent) {
    auto* pillLabel = pill(qstr(label(risk)), riskColour(risk), parent);
    pillLabel->setAccessibleName(QStringLiteral("Risiko: ") + pillLabel->text());
    return pillLabel;
}

QLabel* badge(const QString& text, QWidget* parent) {
    return pill(text, riskColour(Risk::hintOnly), parent);
}

TabHeader tabHeader(const QString& title, const QString& progressName, int progressEms,
                    const QString& actionText, const QString& actionName, QWidget* parent) {
    TabHeader header;
    header.layout = new QHBoxLayout;
    header.layout->addWidget(heading(title, parent));
    header.layout->addStretch(1);
    header.status = new QLabel(parent);
    header.layout->addWidget(header.status);
    header.progress = new QProgressBar(parent);
    header.progress->setMaximumWidth(parent->fontMetrics().horizontalAdvance(QLatin1Char('m')) * progressEms);
    header.progress->setAccessibleName(progressName);
    header.layout->addWidget(header.progress);
    header.action = new QPushButton(actionText, parent);
    header.action->setAccessibleName(actionName);
    header.layout->addWidget(header.action);
    return header;
}

SwappableContent swappableContent(QWidget* parent) {
    SwappableContent content;
    content.scroll = new QScrollArea(parent);
    content.scroll->setWidgetResizable(true);
    content.scroll->setFrameShape(QFrame::NoFrame);
    auto* holder = new QWidget(content.scroll);
    content.layout = new QVBoxLayout(holder);
    content.layout->setContentsMargins(0, 0, 0, 0);
    content.current = new QWidget(holder);
    content.layout->addWidget(content.current);
    content.layout->addStretch(1);
    content.scroll->setWidget(holder);
    return content;
}

void swapIn(SwappableContent& content, QWidget* fresh) {
    // The layout hands back the item that held the old widget; it is ours to delete.
    delete content.layout->replaceWidget(content.current, fresh);
    content.current->hide();
    content.current->deleteLater();
    content.current = fresh;
    fresh->show(); // a layout shows a new child only later, from the event loop
}

} // namespace velmora::SectionWidgets
