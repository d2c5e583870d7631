// The "Systemdaten" tab: what the system data is made of, and its clean-up findings.
#pragma once

#include "App/AppModel.hpp"

#include <QWidget>

namespace velmora {

class SystemDataTabView : public QWidget {
    Q_OBJECT
public:
    SystemDataTabView(AppModel& model, QWidget* parent = nullptr);
};

} // namespace velmora
