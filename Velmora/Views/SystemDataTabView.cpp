#include "Views/SystemDataTabView.hpp"

namespace velmora {

SystemDataTabView::SystemDataTabView(AppModel&, QWidget* parent) : QWidget(parent) {}

} // namespace velmora
