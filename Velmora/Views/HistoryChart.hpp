// A small line chart of the past checks: free space and the cleanable total over time, drawn with
// QPainter in the palette's colours (no chart library).
#pragma once

#include "Check/CheckSnapshot.hpp"

#include <QWidget>

#include <cstdint>
#include <vector>

namespace velmora {

class HistoryChart : public QWidget {
    Q_OBJECT
public:
    struct Point {
        qint64 msecs = 0; // since the epoch
        std::int64_t freeBytes = 0;
        std::int64_t cleanableBytes = 0;
    };

    explicit HistoryChart(QWidget* parent = nullptr);

    // Any order; the chart sorts by date and treats negative sizes as zero.
    void setSnapshots(const std::vector<CheckSnapshot>& snapshots);
    const std::vector<Point>& points() const { return points_; }
    // The top of the byte axis: the largest value shown, rounded up to a readable step; 0 when empty.
    std::int64_t axisMaximum() const { return axisMaximum_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<Point> points_;
    std::int64_t axisMaximum_ = 0;
};

// The smallest 1, 2 or 5 times a power of ten that is at least `bytes` (0 for nothing to show).
std::int64_t niceAxisMaximum(std::int64_t bytes);

} // namespace velmora
