// The "Leistung" tab: live load, memory and swap, the busiest apps and the detector's hints.
#pragma once

#include "App/AppModel.hpp"

#include <QWidget>

namespace velmora {

class PerformanceTabView : public QWidget {
    Q_OBJECT
public:
    PerformanceTabView(AppModel& model, QWidget* parent = nullptr);
};

} // namespace velmora
