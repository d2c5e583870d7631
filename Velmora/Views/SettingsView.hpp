// "Einstellungen": the automatic check, its agent and notifications, the history, and the dry run.
#pragma once

#include "App/AppModel.hpp"

#include <QDialog>

namespace velmora {

class SettingsView : public QDialog {
    Q_OBJECT
public:
    explicit SettingsView(AppModel& model, QWidget* parent = nullptr);
};

} // namespace velmora
