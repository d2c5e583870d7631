// A small line graph of one measured value over the last minutes, with a title and the current value
// as text; the performance tab shows processor, memory and swap with it.
#pragma once

#include <QString>
#include <QWidget>

#include <vector>

namespace velmora {

class LiveGraph : public QWidget {
    Q_OBJECT
public:
    // How much a point asks for attention; the memory graph marks raised pressure with it.
    enum class Emphasis { normal, raised, critical };
    struct Point {
        double secondsAgo = 0; // 0 = now; points older than the span are not drawn
        double fraction = 0;   // 0…1 of the graph's height; values outside are clamped
        Emphasis emphasis = Emphasis::normal;
    };

    explicit LiveGraph(const QString& title, QWidget* parent = nullptr);

    void setSpanSeconds(double seconds);
    // Oldest first. The caption says the current value in words; it is also what screen readers hear.
    void setPoints(std::vector<Point> points, const QString& caption);

    const std::vector<Point>& points() const { return points_; }
    QString caption() const { return caption_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QString title_;
    QString caption_;
    double span_ = 600;
    std::vector<Point> points_;
};

} // namespace velmora
