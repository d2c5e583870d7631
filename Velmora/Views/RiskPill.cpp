#include "Views/RiskPill.hpp"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace velmora {

namespace {

QFont pillFont(QFont font) {
    font.setPointSizeF(font.pointSizeF() > 0 ? font.pointSizeF() * 0.85 : font.pointSizeF());
    font.setBold(true);
    return font;
}

QSize pillSize(const QFont& font, const QString& label) {
    const QFontMetrics metrics(pillFont(font));
    return {metrics.horizontalAdvance(label) + metrics.height(), metrics.height() + 4};
}

} // namespace

RiskPill::RiskPill(Risk risk, QWidget* parent) : QLabel(parent), risk_(risk) {
    setRisk(risk);
}

void RiskPill::setRisk(Risk risk) {
    risk_ = risk;
    setText(labelFor(risk));
    setAccessibleName(QStringLiteral("Risiko: %1").arg(labelFor(risk)));
    updateGeometry();
    update();
}

QColor RiskPill::accent(Risk risk) {
    switch (risk) {
    case Risk::safe:
        return {0x2e, 0x7d, 0x32};
    case Risk::review:
        return {0xd8, 0x5c, 0x00};
    case Risk::hintOnly:
        return {0x4f, 0x66, 0x82};
    }
    return {0x60, 0x60, 0x60};
}

QString RiskPill::labelFor(Risk risk) {
    const auto label = velmora::label(risk);
    return QString::fromUtf8(label.data(), static_cast<qsizetype>(label.size()));
}

int RiskPill::paint(QPainter& painter, const QRect& area, Risk risk, const QFont& font) {
    const QString label = labelFor(risk);
    const QSize size = pillSize(font, label);
    const QRect pill(area.left(), area.top() + (area.height() - size.height()) / 2,
                     std::min(size.width(), area.width()), size.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(pill, pill.height() / 2.0, pill.height() / 2.0);
    painter.fillPath(path, accent(risk));
    painter.setPen(Qt::white);
    painter.setFont(pillFont(font));
    painter.drawText(pill, Qt::AlignCenter, label);
    painter.restore();
    return pill.width();
}

QSize RiskPill::sizeHint() const {
    return pillSize(font(), labelFor(risk_));
}

void RiskPill::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paint(painter, rect(), risk_, font());
}

} // namespace velmora
