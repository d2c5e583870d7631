// The bar above the cleanup tabs: how much of the disk is used, how much is free, and how much of the
// used part the current selection would give back.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

#include <QWidget>

#include <cstdint>
#include <optional>

class QLabel;

namespace velmora {

class DiskBar : public QWidget {
    Q_OBJECT
public:
    explicit DiskBar(QWidget* parent = nullptr);

    void setSpace(const std::optional<DiskSpace>& space);
    void setWouldFree(std::int64_t bytes);
    std::int64_t wouldFree() const { return wouldFree_; }
    // The line under the bar, also what a screen reader hears.
    QString caption() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void refresh();
    QRect barRect() const;

    std::optional<DiskSpace> space_;
    std::int64_t wouldFree_ = 0;
    QLabel* caption_ = nullptr;
};

} // namespace velmora
