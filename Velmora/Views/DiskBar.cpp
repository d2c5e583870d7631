#include "Views/DiskBar.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/RiskPill.hpp"

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

namespace {

QString sizeText(std::int64_t bytes) {
    return QString::fromStdString(ByteFormat::fileSize(bytes));
}

int barHeight(const QWidget& widget) {
    return widget.fontMetrics().height() + 6;
}

} // namespace

DiskBar::DiskBar(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, barHeight(*this) + 4, 0, 0);
    caption_ = new QLabel(this);
    caption_->setTextFormat(Qt::PlainText);
    layout->addWidget(caption_);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    refresh();
}

void DiskBar::setSpace(const std::optional<DiskSpace>& space) {
    space_ = space;
    refresh();
}

void DiskBar::setWouldFree(std::int64_t bytes) {
    wouldFree_ = std::max<std::int64_t>(bytes, 0);
    refresh();
}

QString DiskBar::caption() const {
    const QString freed = QStringLiteral("Auswahl gibt frei: %1").arg(sizeText(wouldFree_));
    if (!space_ || space_->total <= 0)
        return QStringLiteral("Speicherplatz unbekannt · %1").arg(freed);
    const auto used = std::max<std::int64_t>(space_->total - space_->free, 0);
    return QStringLiteral("Belegt: %1 · Frei: %2 von %3 · %4")
        .arg(sizeText(used), sizeText(space_->free), sizeText(space_->total), freed);
}

void DiskBar::refresh() {
    caption_->setText(caption());
    setAccessibleName(QStringLiteral("Festplatte"));
    setAccessibleDescription(caption());
    update();
}

QRect DiskBar::barRect() const {
    return {0, 0, width(), barHeight(*this)};
}

QSize DiskBar::sizeHint() const {
    return {400, barHeight(*this) + 4 + caption_->sizeHint().height()};
}

void DiskBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = QRectF(barRect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal radius = bar.height() / 3.0;
    QPainterPath outline;
    outline.addRoundedRect(bar, radius, radius);
    painter.fillPath(outline, palette().color(QPalette::Base));
    if (space_ && space_->total > 0) {
        const auto total = static_cast<double>(space_->total);
        const auto used = std::clamp(static_cast<double>(space_->total - space_->free), 0.0, total);
        const auto freed = std::clamp(static_cast<double>(wouldFree_), 0.0, used);
        const qreal usedWidth = bar.width() * used / total;
        const qreal freedWidth = bar.width() * freed / total;
        painter.save();
        painter.setClipPath(outline);
        painter.fillRect(QRectF(bar.left(), bar.top(), usedWidth - freedWidth, bar.height()),
                         palette().color(QPalette::Highlight));
        // What the selection gives back is drawn at the end of the used part, in the colour of "safe".
        painter.fillRect(QRectF(bar.left() + usedWidth - freedWidth, bar.top(), freedWidth, bar.height()),
                         RiskPill::accent(Risk::safe));
        painter.restore();
    }
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawPath(outline);
}

} // namespace velmora
