#include "Views/SystemDataChart.hpp"

#include "Findings/ByteFormat.hpp"
#include "SystemData/VolumeRole.hpp"
#include "Views/SectionWidgets.hpp"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <map>

namespace velmora {

using SectionWidgets::qstr;

std::vector<SystemDataSlice> systemDataSlices(const SystemDataReport& report) {
    if (!report.containerSize || !report.containerFree || !report.containerUsed)
        return {};
    const std::int64_t used = std::max<std::int64_t>(0, *report.containerUsed);
    const std::int64_t free = std::max<std::int64_t>(0, *report.containerFree);
    const std::int64_t whole = std::max(*report.containerSize, used + free);
    std::vector<SystemDataSlice> slices;

    // A Linux root file system is the first volume and reports all of the used space itself; the
    // volumes of an APFS container share it instead.
    const bool sharedContainer = !report.volumes.empty() && report.volumes.front().consumed != used;
    if (sharedContainer) {
        std::map<VolumeRole, std::int64_t> byRole;
        for (const auto& volume : report.volumes)
            if (volume.role != VolumeRole::data && volume.consumed > 0)
                byRole[volume.role] += volume.consumed;
        for (const auto& [role, bytes] : byRole)
            slices.push_back({SystemDataSlice::Kind::volume, "Volume " + std::string(title(role)), bytes});
    }

    SystemDataSlice others{SystemDataSlice::Kind::area, "Weitere Bereiche", 0};
    for (const auto& area : report.areas) {
        if (area.bytesOnContainer <= 0)
            continue;
        if (area.bytesOnContainer * 100 < whole) {
            others.bytes += area.bytesOnContainer;
            others.atLeast = others.atLeast || area.lowerBound;
            continue;
        }
        slices.push_back(
            {SystemDataSlice::Kind::area, area.area.title, area.bytesOnContainer, area.lowerBound});
    }
    if (others.bytes > 0)
        slices.push_back(others);
    if (report.unassigned && *report.unassigned > 0)
        slices.push_back({SystemDataSlice::Kind::unassigned, "Nicht zugeordnet", *report.unassigned, false,
                          report.unassignedUpperBound});
    slices.push_back({SystemDataSlice::Kind::free, "Frei", free});
    return slices;
}

SystemDataChart::SystemDataChart(QWidget* parent) : QWidget(parent) {
    setAccessibleName(QStringLiteral("Aufteilung des Speichers"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void SystemDataChart::setSlices(std::vector<SystemDataSlice> slices) {
    slices_ = std::move(slices);
    QStringList parts;
    for (const auto& slice : slices_)
        parts << legendText(slice);
    setAccessibleDescription(parts.join(QStringLiteral("; ")));
    updateGeometry();
    update();
}

QString SystemDataChart::legendText(const SystemDataSlice& slice) const {
    const QString prefix = slice.atLeast  ? QStringLiteral("mindestens ")
                           : slice.atMost ? QStringLiteral("höchstens ")
                                          : QString();
    return qstr(slice.title) + QStringLiteral(" – ") + prefix + qstr(ByteFormat::fileSize(slice.bytes));
}

QColor SystemDataChart::colour(std::size_t index) const {
    const auto& slice = slices_[index];
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    switch (slice.kind) {
    case SystemDataSlice::Kind::volume: {
        // Slate tones, one step per volume, so the system's own volumes read as one family.
        const int step = static_cast<int>(index) * 22;
        return QColor::fromHsv(215, 40, dark ? 150 - step % 66 : 120 + step % 66);
    }
    case SystemDataSlice::Kind::area: {
        std::size_t areaIndex = 0;
        for (std::size_t i = 0; i < index; ++i)
            areaIndex += slices_[i].kind == SystemDataSlice::Kind::area ? 1 : 0;
        // Hues spread by the golden angle stay apart however many areas there are.
        const int hue = static_cast<int>((20 + areaIndex * 137) % 360);
        return QColor::fromHsv(hue, dark ? 150 : 170, dark ? 225 : 205);
    }
    case SystemDataSlice::Kind::unassigned:
        return palette().color(QPalette::Mid);
    case SystemDataSlice::Kind::free:
        return palette().color(QPalette::Base);
    }
    return {};
}

int SystemDataChart::barHeight() const {
    return fontMetrics().height() * 2;
}

std::vector<SystemDataChart::LegendCell> SystemDataChart::legendLayout(int width) const {
    const QFontMetrics metrics = fontMetrics();
    const int swatch = metrics.height() * 3 / 4;
    const int gap = metrics.horizontalAdvance(QLatin1Char(' '));
    int textWidth = 0;
    for (const auto& slice : slices_)
        textWidth = std::max(textWidth, metrics.horizontalAdvance(legendText(slice)));
    const int cellWidth = swatch + gap + textWidth + 3 * gap;
    const int columns = std::max(1, width / std::max(1, cellWidth));
    const int rowHeight = metrics.height() + gap;
    const int top = barHeight() + metrics.height() / 2;
    std::vector<LegendCell> cells;
    for (std::size_t i = 0; i < slices_.size(); ++i) {
        const int column = static_cast<int>(i) % columns;
        const int row = static_cast<int>(i) / columns;
        const int x = column * cellWidth;
        const int y = top + row * rowHeight;
        cells.push_back({QRect(x, y + (metrics.height() - swatch) / 2, swatch, swatch),
                         QRect(x + swatch + gap, y, cellWidth - swatch - gap, metrics.height()),
                         legendText(slices_[i])});
    }
    return cells;
}

int SystemDataChart::heightForWidth(int width) const {
    if (slices_.empty())
        return barHeight();
    const auto cells = legendLayout(width);
    return cells.back().text.bottom() + fontMetrics().height() / 2;
}

QSize SystemDataChart::sizeHint() const {
    return {480, heightForWidth(480)};
}

QSize SystemDataChart::minimumSizeHint() const {
    return {200, heightForWidth(std::max(width(), 200))};
}

void SystemDataChart::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange)
        updateGeometry();
    QWidget::changeEvent(event);
}

void SystemDataChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar(0.5, 0.5, width() - 1.0, barHeight() - 1.0);
    const qreal radius = fontMetrics().height() / 3.0;
    QPainterPath outline;
    outline.addRoundedRect(bar, radius, radius);
    if (slices_.empty()) {
        painter.fillPath(outline, palette().color(QPalette::AlternateBase));
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawPath(outline);
        return;
    }

    double total = 0;
    for (const auto& slice : slices_)
        total += static_cast<double>(std::max<std::int64_t>(0, slice.bytes));
    painter.save();
    painter.setClipPath(outline);
    double x = bar.left();
    for (std::size_t i = 0; i < slices_.size(); ++i) {
        const double share =
            total > 0 ? static_cast<double>(std::max<std::int64_t>(0, slices_[i].bytes)) / total : 0;
        const QRectF piece(x, bar.top(), share * bar.width(), bar.height());
        painter.fillRect(piece, colour(i));
        if (slices_[i].kind == SystemDataSlice::Kind::unassigned)
            painter.fillRect(piece, QBrush(palette().color(QPalette::Dark), Qt::BDiagPattern));
        x += piece.width();
    }
    painter.restore();
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.drawPath(outline);

    painter.setRenderHint(QPainter::Antialiasing, false);
    const auto cells = legendLayout(width());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        painter.fillRect(cells[i].swatch, colour(i));
        if (slices_[i].kind == SystemDataSlice::Kind::unassigned)
            painter.fillRect(cells[i].swatch, QBrush(palette().color(QPalette::Dark), Qt::BDiagPattern));
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(cells[i].swatch.adjusted(0, 0, -1, -1));
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(cells[i].text, Qt::AlignLeft | Qt::AlignVCenter, cells[i].label);
    }
}

} // namespace velmora
