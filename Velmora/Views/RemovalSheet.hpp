// The removal sheet: the plan of the current selection, what will run, the person's confirmation, the
// progress and the result. Nothing runs before the person confirms.
#pragma once

#include "App/AppModel.hpp"

#include <QDialog>

namespace velmora {

class RemovalSheet : public QDialog {
    Q_OBJECT
public:
    // Shows the plan of the model's current selection.
    explicit RemovalSheet(AppModel& model, QWidget* parent = nullptr);
};

} // namespace velmora
