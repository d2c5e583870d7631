// The "Hintergrunddienste" tab: the background services by scope, orphaned ones removable.
#pragma once

#include "App/AppModel.hpp"

#include <QWidget>

namespace velmora {

class ServicesTabView : public QWidget {
    Q_OBJECT
public:
    ServicesTabView(AppModel& model, QWidget* parent = nullptr);
};

} // namespace velmora
