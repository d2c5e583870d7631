#include "Views/LiveGraph.hpp"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace velmora {

namespace {

// Samples come every two seconds while the tab is shown; a longer silence (tab hidden, machine asleep)
// is drawn as a break rather than as a straight line across time nobody measured.
constexpr double breakAfterSeconds = 10;

QColor emphasisColour(LiveGraph::Emphasis emphasis, const QPalette& palette) {
    switch (emphasis) {
    case LiveGraph::Emphasis::raised:
        return QColor(0xE0, 0x8A, 0x1E);
    case LiveGraph::Emphasis::critical:
        return QColor(0xD6, 0x45, 0x41);
    case LiveGraph::Emphasis::normal:
        break;
    }
    return palette.color(QPalette::Highlight);
}

} // namespace

LiveGraph::LiveGraph(const QString& title, QWidget* parent) : QWidget(parent), title_(title) {
    setAccessibleName(title);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LiveGraph::setSpanSeconds(double seconds) {
    span_ = std::max(seconds, 1.0);
    update();
}

void LiveGraph::setPoints(std::vector<Point> points, const QString& caption) {
    points_ = std::move(points);
    if (caption != caption_) {
        caption_ = caption;
        setAccessibleDescription(caption);
    }
    update();
}

QSize LiveGraph::sizeHint() const {
    const int line = fontMetrics().height();
    return {line * 16, line * 10};
}

QSize LiveGraph::minimumSizeHint() const {
    const int line = fontMetrics().height();
    return {line * 10, line * 10};
}

void LiveGraph::changeEvent(QEvent* event) {
    // The height follows the text size, so a larger system font gets a taller graph.
    if (event->type() == QEvent::FontChange)
        updateGeometry();
    QWidget::changeEvent(event);
}

void LiveGraph::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    const QFontMetrics metrics(font());
    const int line = metrics.height();
    const int margin = line / 2;

    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(pal.color(QPalette::Mid));
    painter.setBrush(pal.color(QPalette::Base));
    painter.drawRoundedRect(frame, 8, 8);

    QFont titleFont = font();
    titleFont.setBold(true);
    painter.setFont(titleFont);
    painter.setPen(pal.color(QPalette::Text));
    const QRect header(margin, margin / 2, width() - 2 * margin, line);
    painter.drawText(header, Qt::AlignLeft | Qt::AlignVCenter, title_);
    painter.setFont(font());
    const QRect captionRect(margin, margin / 2 + line, width() - 2 * margin, line);
    painter.drawText(captionRect, Qt::AlignLeft | Qt::AlignVCenter,
                     metrics.elidedText(caption_, Qt::ElideRight, captionRect.width()));

    QFont small = font();
    if (font().pointSizeF() > 0)
        small.setPointSizeF(font().pointSizeF() * 0.85);
    const QFontMetrics smallMetrics(small);
    const QRectF plot(margin, margin / 2 + 2 * line + margin / 2, width() - 2 * margin,
                      height() - (margin / 2 + 2 * line + margin / 2) - smallMetrics.height() - margin / 2);
    if (plot.height() < 4 || plot.width() < 4)
        return;

    QColor grid = pal.color(QPalette::Mid);
    grid.setAlpha(110);
    painter.setPen(QPen(grid, 1, Qt::DotLine));
    for (double share : {0.25, 0.5, 0.75})
        painter.drawLine(QPointF(plot.left(), plot.bottom() - share * plot.height()),
                         QPointF(plot.right(), plot.bottom() - share * plot.height()));
    painter.setPen(QPen(grid, 1));
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());

    painter.setFont(small);
    painter.setPen(pal.color(QPalette::PlaceholderText));
    const QRectF axis(plot.left(), plot.bottom() + 2, plot.width(), smallMetrics.height());
    painter.drawText(axis, Qt::AlignLeft | Qt::AlignTop,
                     QStringLiteral("vor %1 min").arg(qRound(span_ / 60.0)));
    painter.drawText(axis, Qt::AlignRight | Qt::AlignTop, QStringLiteral("jetzt"));

    const auto at = [&](const Point& point) {
        const double x = plot.right() - std::clamp(point.secondsAgo / span_, 0.0, 1.0) * plot.width();
        const double y = plot.bottom() - std::clamp(point.fraction, 0.0, 1.0) * plot.height();
        return QPointF(x, y);
    };
    // One run of points without a break gets its filled area; each segment takes the colour of the
    // point it ends in, so a raised pressure shows from where it began.
    std::size_t start = 0;
    while (start < points_.size()) {
        std::size_t end = start + 1;
        while (end < points_.size() &&
               points_[end - 1].secondsAgo - points_[end].secondsAgo <= breakAfterSeconds)
            ++end;
        std::vector<const Point*> run;
        for (std::size_t i = start; i < end; ++i)
            if (points_[i].secondsAgo <= span_)
                run.push_back(&points_[i]);
        if (!run.empty()) {
            QPainterPath area;
            area.moveTo(at(*run.front()).x(), plot.bottom());
            for (const Point* point : run)
                area.lineTo(at(*point));
            area.lineTo(at(*run.back()).x(), plot.bottom());
            area.closeSubpath();
            QColor fill = pal.color(QPalette::Highlight);
            fill.setAlpha(55);
            painter.fillPath(area, fill);
            for (std::size_t i = 0; i < run.size(); ++i) {
                painter.setPen(QPen(emphasisColour(run[i]->emphasis, pal), 2, Qt::SolidLine, Qt::RoundCap));
                if (i == 0)
                    painter.drawPoint(at(*run[i]));
                else
                    painter.drawLine(at(*run[i - 1]), at(*run[i]));
            }
        }
        start = end;
    }
}

} // namespace velmora
