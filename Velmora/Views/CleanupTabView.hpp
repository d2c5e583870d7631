// The "Speicher" and "Entwickler" tabs: the disk bar and the findings of the tab's categories.
#pragma once

#include "App/AppModel.hpp"

#include <QWidget>

namespace velmora {

class CleanupTabView : public QWidget {
    Q_OBJECT
public:
    CleanupTabView(AppModel& model, AppTab tab, QWidget* parent = nullptr);
};

} // namespace velmora
