#include "Views/SettingsView.hpp"

namespace velmora {

SettingsView::SettingsView(AppModel&, QWidget* parent) : QDialog(parent) {}

} // namespace velmora
