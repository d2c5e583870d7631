// A stacked bar of the start disk: the volumes beside the data, the measured areas, what no area
// explains and the free space, with a legend that names each part and its size.
#pragma once

#include "SystemData/SystemDataReport.hpp"

#include <QWidget>

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

struct SystemDataSlice {
    enum class Kind { volume, area, unassigned, free };
    Kind kind = Kind::area;
    std::string title;
    std::int64_t bytes = 0;
    bool atLeast = false; // an area measured only in part
    bool atMost = false;  // the unassigned rest while an area is a lower bound
};

// The parts of the disk in drawing order. On a Mac the container is shared by volumes, so every volume
// but the data volume is a part of its own and the areas split the data volume; on Linux the root file
// system is the container and its areas split it. Areas of under one percent go together as "Weitere
// Bereiche". Nothing when the disk figures are unknown.
std::vector<SystemDataSlice> systemDataSlices(const SystemDataReport& report);

class SystemDataChart : public QWidget {
public:
    explicit SystemDataChart(QWidget* parent = nullptr);

    void setSlices(std::vector<SystemDataSlice> slices);
    const std::vector<SystemDataSlice>& slices() const { return slices_; }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct LegendCell {
        QRect swatch;
        QRect text;
        QString label;
    };
    QColor colour(std::size_t index) const;
    int barHeight() const;
    std::vector<LegendCell> legendLayout(int width) const;
    QString legendText(const SystemDataSlice& slice) const;

    std::vector<SystemDataSlice> slices_;
};

} // namespace velmora
