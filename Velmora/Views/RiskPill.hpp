// The small coloured label that says how careful to be with a finding: "Sicher", "Prüfen", "Nur Hinweis".
// A widget for forms and a painter for list delegates, so both look the same.
#pragma once

#include "Findings/Risk.hpp"

#include <QColor>
#include <QLabel>

class QPainter;
class QRect;
class QFont;

namespace velmora {

class RiskPill : public QLabel {
    Q_OBJECT
public:
    explicit RiskPill(Risk risk, QWidget* parent = nullptr);
    void setRisk(Risk risk);
    Risk risk() const { return risk_; }

    // The accent behind the label; white text reads on each of them in light and dark appearance.
    static QColor accent(Risk risk);
    static QString labelFor(Risk risk);
    // Draws the pill left-aligned and vertically centred in `area`; returns the width it took.
    static int paint(QPainter& painter, const QRect& area, Risk risk, const QFont& font);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Risk risk_;
};

} // namespace velmora
