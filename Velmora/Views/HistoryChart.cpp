#include "Views/HistoryChart.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/SectionWidgets.hpp"

#include <QDateTime>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <limits>

namespace velmora {

namespace {

using SectionWidgets::qstr;

// Orange like the "Prüfen" accent: readable on light and dark backgrounds alike.
const QColor cleanableColour(230, 126, 34);

} // namespace

std::int64_t niceAxisMaximum(std::int64_t bytes) {
    if (bytes <= 0)
        return 0;
    std::int64_t power = 1;
    while (power <= std::numeric_limits<std::int64_t>::max() / 10 && power * 10 <= bytes)
        power *= 10;
    for (const std::int64_t step : {1, 2, 5, 10}) {
        if (power > std::numeric_limits<std::int64_t>::max() / step)
            break;
        if (power * step >= bytes)
            return power * step;
    }
    return bytes;
}

HistoryChart::HistoryChart(QWidget* parent) : QWidget(parent) {
    setAccessibleName(QStringLiteral("Verlauf: freier Speicher und aufräumbar"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void HistoryChart::setSnapshots(const std::vector<CheckSnapshot>& snapshots) {
    points_.clear();
    std::int64_t largest = 0;
    for (const auto& snapshot : snapshots) {
        const auto msecs =
            std::chrono::duration_cast<std::chrono::milliseconds>(snapshot.date.time_since_epoch()).count();
        Point point{static_cast<qint64>(msecs), std::max<std::int64_t>(snapshot.freeBytes, 0),
                    std::max<std::int64_t>(snapshot.cleanableTotal, 0)};
        largest = std::max({largest, point.freeBytes, point.cleanableBytes});
        points_.push_back(point);
    }
    std::ranges::stable_sort(points_, {}, &Point::msecs);
    axisMaximum_ = niceAxisMaximum(largest);
    const QString summary = points_.empty()
                                ? QStringLiteral("Noch kein Check im Verlauf.")
                                : QStringLiteral("%1 Checks; zuletzt %2 frei, %3 aufräumbar")
                                      .arg(points_.size())
                                      .arg(qstr(ByteFormat::fileSize(points_.back().freeBytes)),
                                           qstr(ByteFormat::fileSize(points_.back().cleanableBytes)));
    setAccessibleDescription(summary);
    setToolTip(summary);
    update();
}

QSize HistoryChart::sizeHint() const {
    const int line = fontMetrics().height();
    return {line * 30, line * 13};
}

QSize HistoryChart::minimumSizeHint() const {
    const int line = fontMetrics().height();
    return {line * 16, line * 10};
}

void HistoryChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colours = palette();
    const QFontMetrics metrics = fontMetrics();
    const int line = metrics.height();
    painter.setPen(colours.color(QPalette::Mid));
    painter.setBrush(colours.color(QPalette::Base));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);

    if (points_.empty() || axisMaximum_ == 0) {
        painter.setPen(colours.color(QPalette::PlaceholderText));
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("Noch kein Check im Verlauf."));
        return;
    }

    const QString topLabel = qstr(ByteFormat::fileSize(axisMaximum_));
    const int left = metrics.horizontalAdvance(topLabel) + line;
    const QRect plot = rect().adjusted(left, line * 2, -line, -line * 2);
    if (plot.width() < 10 || plot.height() < 10)
        return;

    // Axis: zero and the top value, with a faint guide line at each.
    painter.setPen(colours.color(QPalette::Text));
    painter.drawText(QRect(0, plot.top() - line / 2, left - line / 2, line),
                     Qt::AlignRight | Qt::AlignVCenter, topLabel);
    painter.drawText(QRect(0, plot.bottom() - line / 2, left - line / 2, line),
                     Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("0"));
    painter.setPen(QPen(colours.color(QPalette::Mid), 1, Qt::DotLine));
    painter.drawLine(plot.topLeft(), plot.topRight());
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());

    const qint64 first = points_.front().msecs;
    const qint64 span = points_.back().msecs - first;
    const auto x = [&](const Point& point) {
        if (span <= 0)
            return plot.center().x() * 1.0;
        return plot.left() +
               plot.width() * static_cast<double>(point.msecs - first) / static_cast<double>(span);
    };
    const auto y = [&](std::int64_t bytes) {
        return plot.bottom() - plot.height() * static_cast<double>(bytes) / static_cast<double>(axisMaximum_);
    };
    const auto drawSeries = [&](const QColor& colour, std::int64_t Point::*value) {
        QPainterPath path;
        for (std::size_t i = 0; i < points_.size(); ++i) {
            const QPointF at(x(points_[i]), y(points_[i].*value));
            if (i == 0)
                path.moveTo(at);
            else
                path.lineTo(at);
        }
        painter.setPen(QPen(colour, 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(path);
        painter.setBrush(colour);
        for (const auto& point : points_)
            painter.drawEllipse(QPointF(x(point), y(point.*value)), 2.5, 2.5);
    };
    const QColor freeColour = colours.color(QPalette::Highlight);
    drawSeries(freeColour, &Point::freeBytes);
    drawSeries(cleanableColour, &Point::cleanableBytes);

    // Dates of the first and the last check under the plot.
    const QLocale german(QLocale::German, QLocale::Germany);
    const auto date = [&](const Point& point) {
        return german.toString(QDateTime::fromMSecsSinceEpoch(point.msecs).date(),
                               QStringLiteral("dd.MM.yyyy"));
    };
    painter.setPen(colours.color(QPalette::Text));
    const QRect dates(plot.left(), plot.bottom() + line / 3, plot.width(), line);
    painter.drawText(dates, Qt::AlignLeft | Qt::AlignVCenter, date(points_.front()));
    if (points_.size() > 1)
        painter.drawText(dates, Qt::AlignRight | Qt::AlignVCenter, date(points_.back()));

    // Legend above the plot.
    int legendX = plot.left();
    const int legendY = line / 2;
    for (const auto& [colour, text] : {std::pair{freeColour, QStringLiteral("Frei")},
                                       std::pair{cleanableColour, QStringLiteral("Aufräumbar")}}) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawRoundedRect(QRectF(legendX, legendY + line * 0.3, line * 0.8, line * 0.4), 2, 2);
        painter.setPen(colours.color(QPalette::Text));
        legendX += line;
        painter.drawText(QRect(legendX, legendY, metrics.horizontalAdvance(text) + 2, line),
                         Qt::AlignLeft | Qt::AlignVCenter, text);
        legendX += metrics.horizontalAdvance(text) + line;
    }
}

} // namespace velmora
